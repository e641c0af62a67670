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
#include <ipmodel/Ip6/Ip6.h>
#include <ipmodel/Ip6/SourceAddressSelection.h>
#include <ipmodel/SrcIntf/SrcIntf.h>
#include <ipmodel/Ira/IpStatusMounter.h>
