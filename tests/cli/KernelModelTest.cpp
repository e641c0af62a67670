// The ipmodel program's rtnetlink reader on crafted datagrams, and the model
// it fills, including VRF membership, which a kernel without VRF devices
// cannot show end to end.
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <climits>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Json.h"
#include "KernelModel.h"
#include "Rtnl.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

void put(Bytes& b, const void* p, std::size_t n) {
  const auto* c = static_cast<const std::uint8_t*>(p);
  b.insert(b.end(), c, c + n);
  b.resize(NLMSG_ALIGN(b.size()));
}

Bytes attr(std::uint16_t type, const void* p, std::size_t n) {
  rtattr a{};
  a.rta_type = type;
  a.rta_len = static_cast<std::uint16_t>(RTA_LENGTH(n));
  Bytes b;
  put(b, &a, sizeof a);
  b.resize(b.size() - NLMSG_ALIGN(sizeof a) + sizeof a);
  put(b, p, n);
  return b;
}
Bytes attr(std::uint16_t type, const std::string& s) { return attr(type, s.c_str(), s.size() + 1); }
Bytes attr(std::uint16_t type, std::uint32_t v) { return attr(type, &v, sizeof v); }
Bytes attr(std::uint16_t type, const Bytes& nested) {
  return attr(type, nested.data(), nested.size());
}

Bytes message(std::uint16_t type, const void* head, std::size_t headLen,
              const std::vector<Bytes>& attrs) {
  Bytes body;
  put(body, head, headLen);
  for (const auto& a : attrs) body.insert(body.end(), a.begin(), a.end());
  nlmsghdr h{};
  h.nlmsg_len = static_cast<std::uint32_t>(NLMSG_HDRLEN + body.size());
  h.nlmsg_type = type;
  Bytes out;
  put(out, &h, sizeof h);
  out.insert(out.end(), body.begin(), body.end());
  return out;
}

Bytes link(std::uint16_t type, int index, const std::string& name, const std::string& kind = "",
           std::uint32_t master = 0) {
  ifinfomsg ifi{};
  ifi.ifi_index = index;
  std::vector<Bytes> attrs{attr(IFLA_IFNAME, name)};
  if (!kind.empty()) attrs.push_back(attr(IFLA_LINKINFO, attr(IFLA_INFO_KIND, kind)));
  if (master) attrs.push_back(attr(IFLA_MASTER, master));
  return message(type, &ifi, sizeof ifi, attrs);
}

Bytes addr4(std::uint16_t type, unsigned index, const std::string& text, unsigned len,
            bool secondary = false, const std::string& peer = "") {
  ifaddrmsg ifa{};
  ifa.ifa_family = AF_INET;
  ifa.ifa_prefixlen = static_cast<std::uint8_t>(len);
  ifa.ifa_flags = secondary ? IFA_F_SECONDARY : 0;
  ifa.ifa_index = index;
  auto bytes = Lumen::IpAddr(text).bytes();
  std::vector<Bytes> attrs;
  if (!peer.empty()) attrs.push_back(attr(IFA_ADDRESS, Lumen::IpAddr(peer).bytes().data(), 4));
  attrs.push_back(attr(IFA_LOCAL, bytes.data(), 4));
  return message(type, &ifa, sizeof ifa, attrs);
}

Bytes addr6(std::uint16_t type, unsigned index, const std::string& text, unsigned len) {
  ifaddrmsg ifa{};
  ifa.ifa_family = AF_INET6;
  ifa.ifa_prefixlen = static_cast<std::uint8_t>(len);
  ifa.ifa_index = index;
  auto bytes = Lumen::Ip6Addr(text).bytes();
  return message(type, &ifa, sizeof ifa, {attr(IFA_ADDRESS, bytes.data(), 16)});
}

Bytes cat(std::vector<Bytes> parts) {
  Bytes out;
  for (const auto& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

std::vector<Cli::KernelEvent> parse(const Bytes& b, bool* done = nullptr) {
  std::vector<Cli::KernelEvent> events;
  bool d = Cli::parseDatagram(b.data(), b.size(),
                              [&](const Cli::KernelEvent& e) { events.push_back(e); });
  if (done) *done = d;
  return events;
}

void feed(Cli::KernelModel& m, const Bytes& b) {
  Cli::parseDatagram(b.data(), b.size(), [&](const Cli::KernelEvent& e) { m.apply(e); });
}

}  // namespace

TEST(RtnlReader, ReadsLinksAndAddressesAndStopsAtDone) {
  nlmsghdr done{};
  done.nlmsg_len = NLMSG_HDRLEN;
  done.nlmsg_type = NLMSG_DONE;
  Bytes doneMsg;
  put(doneMsg, &done, sizeof done);
  bool ended = false;
  auto events = parse(
      cat({link(RTM_NEWLINK, 7, "red", "vrf"), link(RTM_DELLINK, 8, "eth1", "", 7),
           addr4(RTM_NEWADDR, 8, "10.0.0.1", 24, true, "10.0.0.2"),
           addr6(RTM_DELADDR, 8, "2001:db8::1", 64), doneMsg, link(RTM_NEWLINK, 9, "after-done")}),
      &ended);
  EXPECT_TRUE(ended);
  ASSERT_EQ(events.size(), 4u);
  EXPECT_EQ(events[0].link->kind, "vrf");
  EXPECT_EQ(events[0].link->name, "red");
  EXPECT_FALSE(events[0].removed);
  EXPECT_TRUE(events[1].removed);
  EXPECT_EQ(events[1].link->master, 7u);
  // The interface's own address is IFA_LOCAL, not the point-to-point peer.
  EXPECT_EQ(events[2].addr->local, Bytes({10, 0, 0, 1}));
  EXPECT_TRUE(events[2].addr->secondary);
  EXPECT_EQ(events[3].addr->local.size(), 16u);
  EXPECT_TRUE(events[3].removed);
}

TEST(RtnlReader, RefusesBytesThatDoNotHoldTogether) {
  Bytes good = link(RTM_NEWLINK, 1, "lo");
  Bytes longer = good;
  longer[0] = static_cast<std::uint8_t>(good.size() + 4);  // claims more than the datagram
  EXPECT_THROW(parse(longer), std::runtime_error);
  Bytes badAttr = good;
  badAttr[NLMSG_HDRLEN + sizeof(ifinfomsg)] = 200;  // the name attribute overruns the message
  EXPECT_THROW(parse(badAttr), std::runtime_error);
  ifinfomsg ifi{};
  Bytes shortBody = message(RTM_NEWLINK, &ifi, 4, {});
  EXPECT_THROW(parse(shortBody), std::runtime_error);

  nlmsgerr e{};
  e.error = -EPERM;
  Bytes err = message(NLMSG_ERROR, &e, sizeof e, {});
  try {
    parse(err);
    ADD_FAILURE() << "an error answer must throw";
  } catch (const std::runtime_error& x) {
    EXPECT_EQ(std::string(x.what()), "netlink dump: Operation not permitted");
  }
  e.error = INT_MIN;  // no errno the kernel sends, and no int negates it
  Bytes garbage = message(NLMSG_ERROR, &e, sizeof e, {});
  try {
    parse(garbage);
    ADD_FAILURE() << "an error answer must throw";
  } catch (const std::runtime_error& x) {
    EXPECT_EQ(std::string(x.what()), std::string("netlink dump: ") + std::strerror(EPROTO));
  }
  EXPECT_TRUE(parse(Bytes(3, 0)).empty());  // shorter than a header: nothing
}

TEST(KernelModel, FollowsVrfMembershipWhicheverComesFirst) {
  Cli::KernelModel m;
  // The member before its VRF device, as a dump may list them.
  feed(m, link(RTM_NEWLINK, 3, "eth1", "veth", 5));
  feed(m, link(RTM_NEWLINK, 4, "eth2", "dummy", 6));  // master is not a VRF
  feed(m, link(RTM_NEWLINK, 5, "red", "vrf"));
  feed(m, link(RTM_NEWLINK, 6, "br0", "bridge"));
  m.resolveVrfs();
  const auto& intfs = m.intfs();
  EXPECT_EQ(intfs.at(3).vrf, L3::VrfName("red"));
  EXPECT_EQ(intfs.at(3).ip->vrf(), L3::VrfName("red"));
  EXPECT_EQ(intfs.at(3).ip6->vrf(), L3::VrfName("red"));
  EXPECT_EQ(intfs.at(4).vrf, L3::VrfName("default"));
  EXPECT_TRUE(m.gen4()->intfInVrf(L3::VrfName("red"), Lumen::IntfId("eth1")));
  EXPECT_FALSE(m.gen4()->intfInVrf(L3::VrfName("default"), Lumen::IntfId("eth1")));
  EXPECT_TRUE(m.gen6()->intfInVrf(L3::VrfName("red"), Lumen::IntfId("eth1")));

  // Released from the VRF: back to default, listed there only.
  feed(m, link(RTM_NEWLINK, 3, "eth1", "veth"));
  EXPECT_EQ(intfs.at(3).vrf, L3::VrfName("default"));
  EXPECT_TRUE(m.gen4()->intfInVrf(L3::VrfName("default"), Lumen::IntfId("eth1")));
  EXPECT_FALSE(m.gen4()->intfInVrf(L3::VrfName("red"), Lumen::IntfId("eth1")));

  // Gone, and renamed: the old name leaves the model.
  feed(m, link(RTM_DELLINK, 4, "eth2"));
  EXPECT_EQ(intfs.count(4), 0u);
  EXPECT_FALSE(m.gen4()->intf(Lumen::IntfId("eth2")));
  feed(m, link(RTM_NEWLINK, 3, "wan0", "veth"));
  EXPECT_FALSE(m.gen4()->intf(Lumen::IntfId("eth1")));
  EXPECT_TRUE(m.gen4()->intf(Lumen::IntfId("wan0")));
}

TEST(KernelModel, KeepsThePrimaryAndSecondariesAsTheKernelReportsThem) {
  Cli::KernelModel m;
  feed(m, link(RTM_NEWLINK, 3, "eth1"));
  const auto& ip = m.intfs().at(3).ip;
  const std::uint32_t before = m.gen4()->addrChanged();
  feed(m, addr4(RTM_NEWADDR, 3, "10.0.0.1", 24));
  feed(m, addr4(RTM_NEWADDR, 3, "10.0.0.2", 24, true));
  feed(m, addr4(RTM_NEWADDR, 3, "10.9.0.1", 16));  // a second primary: a secondary to the model
  feed(m, addr4(RTM_NEWADDR, 3, "10.0.0.1", 24));  // repeated: no change
  EXPECT_EQ(ip->activeAddrWithMask(), Lumen::IpAddrWithMask("10.0.0.1/24"));
  EXPECT_EQ(ip->activeSecondaryWithMask().size(), 2u);
  EXPECT_EQ(m.gen4()->addrChanged(), before + 3);
  EXPECT_EQ(m.gen4()->activeAddr(Lumen::IntfId("eth1")),
            Lumen::IpGenAddrWithMask(Lumen::IpAddrWithMask("10.0.0.1/24")));

  // The kernel removes the primary and promotes the secondary.
  feed(m, cat({addr4(RTM_DELADDR, 3, "10.0.0.1", 24), addr4(RTM_DELADDR, 3, "10.0.0.2", 24, true),
               addr4(RTM_NEWADDR, 3, "10.0.0.2", 24)}));
  EXPECT_EQ(ip->activeAddrWithMask(), Lumen::IpAddrWithMask("10.0.0.2/24"));
  EXPECT_FALSE(ip->activeSecondaryWithMask().contains(Lumen::IpAddrWithMask("10.0.0.2/24")));

  feed(m, addr6(RTM_NEWADDR, 3, "fe80::1", 64));
  feed(m, addr6(RTM_NEWADDR, 3, "2001:db8::1", 64));
  const auto& ip6 = m.intfs().at(3).ip6;
  EXPECT_EQ(ip6->linkLocalAddrWithMask(), Lumen::Ip6AddrWithMask("fe80::1/64"));
  EXPECT_EQ(ip6->sourceAddressForDestination(Lumen::Ip6Addr("2001:db8::9")),
            Lumen::Ip6Addr("2001:db8::1"));
  feed(m, addr6(RTM_DELADDR, 3, "2001:db8::1", 64));
  EXPECT_EQ(ip6->addr().size(), 1u);
  // Addresses of unknown links are ignored.
  feed(m, addr4(RTM_NEWADDR, 99, "10.0.0.1", 24));
}

// An IPv4 input holding Ethernet1 with a primary and a secondary address.
struct Eth1 {
  Eth1() {
    s->activeAddrWithMaskIs(Lumen::IpAddrWithMask("10.0.0.1/24"));
    s->activeSecondaryWithMaskIs(Lumen::IpAddrWithMask("10.0.1.1/24"), true);
  }
  const Lumen::IntfId eth1{"Ethernet1"};
  L3::Intf::Input::StatusDir::Ptr l3 = L3::Intf::Input::statusDirFactory("l3");
  Ip::Input::Status::Ptr input = Ip::Input::statusFactory("ip");
  Ip::IpIntfStatus::Ptr s = input->ipIntfStatusIs(eth1, l3->intfStatusIs(eth1));
};

TEST(Json, WalksAnyEntityThroughItsDescriptor) {
  Eth1 model;
  auto& s = model.s;
  s->configSourceIs("say \"hi\"\n");
  auto text = [&] {
    std::ostringstream os;
    Cli::jsonEntity(os, *s);
    return os.str();
  };
  const std::string json = text();
  EXPECT_EQ(json.front(), '{');
  EXPECT_NE(json.find(R"("intfId":"Ethernet1")"), std::string::npos) << json;
  EXPECT_NE(json.find(R"("activeAddrWithMask":"10.0.0.1/24")"), std::string::npos) << json;
  // A map whose members are all "true" reads as the set of its keys.
  EXPECT_NE(json.find(R"("activeSecondaryWithMask":["10.0.1.1/24"])"), std::string::npos) << json;
  EXPECT_NE(json.find(R"("configSource":"say \"hi\"\n")"), std::string::npos) << json;
  EXPECT_NE(json.find(R"("l3Status":"/l3/intfStatus/Ethernet1")"), std::string::npos) << json;
  // Computed attributes are left out: some have no value without an argument.
  EXPECT_EQ(json.find("activeVirtualAddrWithMask"), std::string::npos) << json;

  s->activeSecondaryWithMaskIs(Lumen::IpAddrWithMask("10.0.2.1/24"), false);
  EXPECT_NE(
      text().find(R"("activeSecondaryWithMask":{"10.0.1.1/24":"true","10.0.2.1/24":"false"})"),
      std::string::npos)
      << text();
}

TEST(Json, DescendsIntoOwnedMembersOnly) {
  Eth1 model;
  auto& input = model.input;
  std::ostringstream json, text;
  Cli::jsonEntity(json, *input);
  Cli::textEntity(text, *input, "ip.");
  EXPECT_NE(json.str().find(R"("ipIntfStatus":{"Ethernet1":{"intfId":"Ethernet1",)"),
            std::string::npos)
      << json.str();
  EXPECT_NE(json.str().find(R"("activeSecondaryWithMask":["10.0.1.1/24"])"), std::string::npos)
      << json.str();
  EXPECT_NE(text.str().find("ip.ipIntfStatus[Ethernet1].activeAddrWithMask 10.0.0.1/24\n"),
            std::string::npos)
      << text.str();
  EXPECT_NE(text.str().find("ip.ipIntfStatus[Ethernet1].activeSecondaryWithMask[10.0.1.1/24]\n"),
            std::string::npos)
      << text.str();

  // A collection that refers to entities owned elsewhere names them, and
  // does not print them again.
  auto status = Ip::statusFactory("ipStatus");
  status->ipIntfStatusIs(model.s);
  std::ostringstream ref;
  Cli::jsonEntity(ref, *status);
  EXPECT_EQ(ref.str().find("activeAddrWithMask"), std::string::npos) << ref.str();
  EXPECT_NE(ref.str().find("Ethernet1"), std::string::npos) << ref.str();
}
