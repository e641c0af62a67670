// The network value types in one include.
#pragma once

#include <ipmodel/Lumen/IntfId.h>
#include <ipmodel/Lumen/Ip6Addr.h>
#include <ipmodel/Lumen/IpAddr.h>
#include <ipmodel/Lumen/IpGenAddr.h>
#include <ipmodel/Lumen/NamespaceName.h>
#include <ipmodel/Lumen/RouteDistinguisher.h>
#include <ipmodel/Lumen/VrfName.h>
