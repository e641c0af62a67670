// The model of this machine's links and addresses, fed by rtnetlink.
#pragma once

#include <array>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <utility>

#include <sys/socket.h>

#include <ipmodel/ipmodel.h>

#include "Rtnl.h"

namespace Cli {

// The kernel's links and addresses as the library models them: one layer-3
// record, IPv4 status and IPv6 status per link, listed in the IPv4 and IPv6
// statuses directly and under the link's VRF (the VRF device it is enslaved
// to, "default" otherwise), with the family-neutral view of both statuses
// kept current by its status machines. Fed one kernel message at a time.
class KernelModel {
 public:
  KernelModel()
      : KernelModel(L3::Intf::Input::statusDirFactory("kernel"), Ip::Input::statusFactory("kernel"),
                    Ip6::Input::statusFactory("kernel")) {}
  // Fills the given layer-3 directory and IPv4 and IPv6 inputs, e.g. the
  // local trees of state-database mounts that publish them.
  KernelModel(L3::Intf::Input::StatusDir::Ptr l3, Ip::Input::Status::Ptr ipInput,
              Ip6::Input::Status::Ptr ip6Input)
      : l3_(std::move(l3)),
        ipInput_(std::move(ipInput)),
        ip_(Ip::statusFactory("ipStatus")),
        ip6Input_(std::move(ip6Input)),
        ip6_(Ip6::statusFactory("ip6Status")),
        gen4_(IpGen::ipv4StatusFactory(ip_)),
        gen6_(IpGen::ipv6StatusFactory(ip6_)),
        sm4_(IpGen::statusSmFactory(gen4_)),
        sm6_(IpGen::statusSmFactory(gen6_)) {}

  const IpGen::Status::Ptr& gen4() const { return gen4_; }
  const IpGen::Status::Ptr& gen6() const { return gen6_; }

  void apply(const KernelEvent& ev) {
    if (ev.link) {
      ev.removed ? linkDel(*ev.link) : linkIs(*ev.link);
    } else if (ev.addr) {
      addrChange(*ev.addr, ev.removed);
    }
  }

  // VRF memberships of links whose VRF device came later in a dump.
  void resolveVrfs() {
    for (auto& [index, link] : links_) updateVrf(link);
  }

  struct Intf {
    KernelLink link;
    Ip::IpIntfStatus::Ptr ip;
    Ip6::IntfStatus::Ptr ip6;
    L3::VrfName vrf;
  };
  const std::map<unsigned, Intf>& intfs() const { return links_; }
  // Names of links left out because they are not valid interface ids.
  const std::set<std::string>& skipped() const { return skipped_; }

 private:
  void linkIs(const KernelLink& k) {
    auto it = links_.find(k.index);
    if (it != links_.end() && it->second.link.name != k.name) {
      linkDel(it->second.link);  // renamed: the model knows interfaces by name
      it = links_.end();
    }
    if (it == links_.end()) {
      Lumen::IntfId id;
      if (!Lumen::IntfId::tryParse(k.name, id)) {
        // The kernel allows characters an interface id refuses (quotes,
        // commas, parentheses): such a link stays out of the model.
        skipped_.insert(k.name);
        return;
      }
      auto l3 = l3_->intfStatusIs(id);
      Intf intf;
      intf.link = k;
      intf.ip = ipInput_->ipIntfStatusIs(id, l3);
      intf.ip6 = ip6Input_->intfIs(id, l3);
      intf.vrf = L3::VrfName("default");
      ip_->ipIntfStatusIs(intf.ip);
      ip_->vrfIpIntfStatusIs(intf.vrf)->ipIntfStatusIs(intf.ip);
      ip6_->intfIs(intf.ip6);
      ip6_->vrfIp6IntfStatusIs(intf.vrf)->ip6IntfStatusIs(intf.ip6);
      it = links_.emplace(k.index, std::move(intf)).first;
    }
    it->second.link = k;
    updateVrf(it->second);
  }

  void updateVrf(Intf& intf) {
    L3::VrfName vrf("default");
    auto master = links_.find(intf.link.master);
    if (intf.link.master != 0 && master != links_.end() && master->second.link.kind == "vrf") {
      vrf = L3::VrfName(master->second.link.name);
    }
    if (vrf == intf.vrf) return;
    const Lumen::IntfId id(intf.link.name);
    ip_->vrfIpIntfStatusIs(intf.vrf)->ipIntfStatusDel(id);
    ip6_->vrfIp6IntfStatusIs(intf.vrf)->ip6IntfStatusDel(id);
    intf.vrf = vrf;
    l3_->intfStatusIs(id)->vrfIs(vrf);
    ip_->vrfIpIntfStatusIs(vrf)->ipIntfStatusIs(intf.ip);
    ip6_->vrfIp6IntfStatusIs(vrf)->ip6IntfStatusIs(intf.ip6);
  }

  void linkDel(const KernelLink& k) {
    auto it = links_.find(k.index);
    if (it == links_.end()) return;
    const Lumen::IntfId id(it->second.link.name);
    ip_->vrfIpIntfStatusIs(it->second.vrf)->ipIntfStatusDel(id);
    ip6_->vrfIp6IntfStatusIs(it->second.vrf)->ip6IntfStatusDel(id);
    ip_->ipIntfStatusDel(id);
    ip6_->intfDel(id);
    ipInput_->ipIntfStatusDel(id);
    ip6Input_->intfDel(id);
    l3_->intfStatusDel(id);
    links_.erase(it);
  }

  void addrChange(const KernelAddr& a, bool removed) {
    auto it = links_.find(a.index);
    if (it == links_.end()) return;
    Intf& intf = it->second;
    if (a.family == AF_INET) {
      std::array<std::uint8_t, 4> b;
      std::memcpy(b.data(), a.local.data(), 4);
      Lumen::IpAddrWithMask am(Lumen::IpAddr(b), a.prefixLen);
      if (removed) {
        if (intf.ip->activeAddrWithMask() == am) {
          intf.ip->activeAddrWithMaskIs(Lumen::IpAddrWithMask());
        } else {
          intf.ip->activeSecondaryWithMaskDel(am);
        }
      } else if (!a.secondary && (intf.ip->activeAddrWithMask() == Lumen::IpAddrWithMask() ||
                                  intf.ip->activeAddrWithMask() == am)) {
        intf.ip->activeSecondaryWithMaskDel(am);  // promoted
        intf.ip->activeAddrWithMaskIs(am);
      } else if (intf.ip->activeAddrWithMask() != am) {
        intf.ip->activeSecondaryWithMaskIs(am, true);
      }
    } else {
      Lumen::Ip6Addr::Bytes b;
      std::memcpy(b.data(), a.local.data(), b.size());
      Lumen::Ip6AddrWithMask am(Lumen::Ip6Addr(b), a.prefixLen);
      if (removed) {
        intf.ip6->addrDel(am);
      } else {
        intf.ip6->addrIs(Ip6::AddressInfo(am));
      }
    }
  }

  L3::Intf::Input::StatusDir::Ptr l3_;
  Ip::Input::Status::Ptr ipInput_;
  Ip::Status::Ptr ip_;
  Ip6::Input::Status::Ptr ip6Input_;
  Ip6::Status::Ptr ip6_;
  IpGen::Status::Ptr gen4_;
  IpGen::Status::Ptr gen6_;
  IpGen::StatusSm::Ptr sm4_;
  IpGen::StatusSm::Ptr sm6_;
  std::map<unsigned, Intf> links_;
  std::set<std::string> skipped_;  // by kernel index
};

}  // namespace Cli
