// Adding an interface address in the kernel with one rtnetlink RTM_NEWADDR
// request on a netlink socket the caller has opened.
#pragma once

#include <ipmodel/Ip/Ip.fwd.h>
#include <ipmodel/Lumen/Ip6Addr.h>
#include <ipmodel/Lumen/IpAddr.h>
#include <ipmodel/Orv/Export.h>

namespace Ip {

// `scope` is the generated Ip::IpAddrScope, whose numeric value is the
// kernel's scope byte (universe 0, site 200, link 253, host 254, nowhere 255).
// Asks the kernel to add (or replace) the IPv4 address `addr`/`prefixLen` on
// interface `ifindex`. The request carries NLM_F_REQUEST | NLM_F_ACK |
// NLM_F_REPLACE, the address as IFA_LOCAL only, IFA_F_SECONDARY when
// `secondary` is set, the low byte of `scope` as the scope and of `prefixLen`
// as the prefix length, and IFA_BROADCAST unless `broadcast` is 0.0.0.0.
// Nothing is checked here. Returns Lumen::sendNetlinkMsg's result unchanged:
// 0 once the kernel has accepted it, else a negative errno.
IPMODEL_API int ipAddrAddCommon(int fd, unsigned ifindex, Lumen::IpAddr const& addr, int prefixLen,
                                bool secondary, Lumen::IpAddr const& broadcast, IpAddrScope scope);

// Same for the IPv6 address `addr`/`prefixLen`: IFA_LOCAL only, no flags, scope
// universe (the kernel derives the real scope from the address).
IPMODEL_API int ip6AddrAddCommon(int fd, unsigned ifindex, Lumen::Ip6Addr const& addr,
                                 int prefixLen);

}  // namespace Ip
