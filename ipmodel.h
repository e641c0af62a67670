// The whole public interface of the ipmodel library.
#pragma once

#include <ipmodel/Orv/Orv.h>

#include <ipmodel/Lumen/Lumen.h>
#include <ipmodel/Lumen/Netlink.h>
#include <ipmodel/Lumen/VrfName.h>
#include <ipmodel/Bytelog/Bytelog.h>
#include <ipmodel/Statedb/Cell.h>
#include <ipmodel/Statedb/Dir.h>
#include <ipmodel/Statedb/Statedb.h>

#include <ipmodel/L3/L3.h>
#include <ipmodel/L3/UrpfTypes.h>
#include <ipmodel/L3/IpUtils.h>
#include <ipmodel/Ip/Ip.h>
#include <ipmodel/Ip/IpVrf.h>
#include <ipmodel/Ip/RouteDistinguisherSm.h>
#include <ipmodel/Ip6/Ip6.h>
#include <ipmodel/Ip6/SourceAddressSelection.h>
#include <ipmodel/IpGen/IpGen.h>
#include <ipmodel/IpGen/IpGenIntfSm.h>
#include <ipmodel/IpGen/IpGenStatusSm.h>
#include <ipmodel/SrcIntf/SrcIntf.h>
#include <ipmodel/SrcIntf/SrcGenIntf.h>
#include <ipmodel/VrfTypes/VrfTypes.h>
#include <ipmodel/VirtualIp/VirtualIp.h>
#include <ipmodel/Ira/IraTypes.h>
#include <ipmodel/Ira/VrfToIntf.h>
#include <ipmodel/Ira/IpStatusMounter.h>
