// Whether an interface has IPv6 configured: predicates over its
// configuration, shared by the configuration's own ipv6Configured().
#pragma once

#include <ipmodel/Ip6/Ip6.fwd.h>
#include <ipmodel/Orv/Export.h>
#include <ipmodel/Orv/Ptr.h>

namespace Ip6 {

// True when cfg holds at least one configured address that is not
// link-local. cfg must not be null.
IPMODEL_API bool intfConfigGlobalAddrConfigured(Orv::Ptr<const IntfConfig> cfg);

// True when cfg has a link-local address configured (anything but ::/0).
// cfg must not be null.
IPMODEL_API bool intfLinkLocalAddrConfigured(Orv::Ptr<const IntfConfig> cfg);

}  // namespace Ip6
