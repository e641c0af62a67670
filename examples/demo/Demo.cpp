// The main job of the library, shown end to end: an agent publishes IPv4
// interface status, a source-interface machine derives the records that
// clients follow, and every change is printed as it happens; then the same
// road for IPv4 and IPv6 through the family-neutral view.
#include <functional>
#include <iostream>

#include <ipmodel/ipmodel.h>

namespace {

// A client that follows one source interface's address.
class SourceAddressClient : public Ip::SourceIntf::SourceIntf::NotifieeConst {
 public:
  void onIpAddr() override {
    std::cout << "  client: source address of " << notifier()->intfId() << " is now "
              << notifier()->ipAddr() << "\n";
  }
};

// A reactor that prints every change of an interface's status.
class StatusPrinter : public Ip::IpIntfStatus::NotifieeConst {
 public:
  void onActiveAddrWithMask() override {
    std::cout << "  status: " << notifier()->intfId() << " activeAddrWithMask "
              << notifier()->activeAddrWithMask() << "\n";
  }
  void onActiveSecondaryWithMask(const Lumen::IpAddrWithMask& a) override {
    std::cout << "  status: " << notifier()->intfId() << " activeSecondaryWithMask " << a << " "
              << (notifier()->activeSecondaryWithMask().contains(a) ? "added" : "removed") << "\n";
  }
  void onUseVirtualAddr() override {
    std::cout << "  status: " << notifier()->intfId() << " useVirtualAddr "
              << Orv::valueToStrep(notifier()->useVirtualAddr()) << "\n";
  }
};

// Prints each counter of a family-neutral status as it moves, with the
// change it names (readable only during the notification).
class GenericCounterPrinter : public IpGen::Status::NotifieeConst {
 public:
  void onAddrChanged() override { print("addrChanged"); }
  void onActiveAddrChanged() override { print("activeAddrChanged"); }

 private:
  void print(const char* counter) {
    std::cout << "  generic " << notifier()->af() << " status: " << counter << " intf "
              << notifier()->changedIntf() << " addr " << notifier()->changedAddr() << "\n";
  }
};

// A client of a generic source-interface record.
class GenericClient : public IpGen::SourceIntf::SourceIntf::NotifieeConst {
 public:
  void onIpAddr() override {
    std::cout << "  generic client: source address of " << notifier()->intfId() << " is now "
              << notifier()->ipAddr() << "\n";
  }
};

// One event's whole road through the family-neutral view: setter, generic
// status machine and counters, generic source-interface record, client.
void genericRoad(const IpGen::Status::Ptr& generic, const Lumen::IntfId& intfId,
                 const std::function<void()>& setter) {
  auto statusSm = IpGen::statusSmFactory(generic);
  GenericCounterPrinter counters;
  counters.notifierIs(generic);
  auto dir = IpGen::SourceIntf::sourceIntfDirFactory("genericSourceIntf");
  auto sm = IpGen::SourceIntf::SourceIntfSm::SourceIntfSmIs(dir, generic);
  auto record = sm->registerSourceIntf(intfId);
  GenericClient client;
  client.notifierIs(record);
  setter();
  client.notifierIs(nullptr);
  counters.notifierIs(nullptr);
  sm->unregisterSourceIntf(record);
}

}  // namespace

int main() {
  // The source-interface machine's trace lines go to standard output.
  Orv::traceLevelIs("SrcIntf", 8, true);
  Orv::traceSinkIs([](const Orv::TraceRecord& r) {
    std::cout << "  trace " << r.handle << "/" << r.level << ": " << r.message << "\n";
  });

  std::cout << "1. Configuration of an interface\n";
  auto config = Ip::configFactory("config");
  auto l3Config = L3::Intf::configDirFactory("l3config")->intfConfigIs(Lumen::IntfId("Ethernet1"));
  auto cfg = config->ipIntfConfigIs(Lumen::IntfId("Ethernet1"));
  cfg->l3ConfigIs(l3Config);
  cfg->addrWithMaskIs(Lumen::IpAddrWithMask("10.0.0.1/24"));
  cfg->vrfIs(L3::VrfName("red"));
  std::cout << "  " << cfg->fullName() << " addrWithMask " << cfg->addrWithMask() << " vrf "
            << cfg->vrf() << " forwarding " << Orv::valueToStrep(cfg->forwarding()) << "\n";
  try {
    cfg->maxMssEgressIs(65516);
  } catch (const Orv::RangeException& e) {
    std::cout << "  refused: " << e.what() << "\n";
  }

  std::cout << "2. Status published by the IP agent\n";
  auto l3Input = L3::Intf::Input::statusDirFactory("l3input");
  auto input = Ip::Input::statusFactory("ipinput");
  auto status = Ip::statusFactory("status");
  auto s = input->ipIntfStatusIs(Lumen::IntfId("Ethernet1"),
                                 l3Input->intfStatusIs(Lumen::IntfId("Ethernet1")));
  StatusPrinter printer;
  printer.notifierIs(s);
  status->ipIntfStatusIs(s);
  status->vrfIpIntfStatusIs(s->vrf())->ipIntfStatusIs(s);

  std::cout << "3. A client registers Ethernet1 as its source interface\n";
  auto dir = Ip::SourceIntf::sourceIntfDirFactory("sourceIntf");
  auto sm = Ip::SourceIntf::SourceIntfSm::SourceIntfSmIs(dir, status);
  auto record = sm->registerSourceIntf(Lumen::IntfId("Ethernet1"));
  SourceAddressClient client;
  client.notifierIs(record);

  std::cout << "4. The agent sets the active address: the record follows\n";
  s->activeAddrWithMaskIs(Lumen::IpAddrWithMask("10.0.0.1/24"));
  s->activeSecondaryWithMaskIs(Lumen::IpAddrWithMask("10.0.1.1/24"), true);
  s->activeAddrWithMaskIs(Lumen::IpAddrWithMask("10.0.0.1/24"));  // no change: nobody hears
  s->activeAddrWithMaskIs(Lumen::IpAddrWithMask("10.0.0.2/24"));

  std::cout << "5. Textual forms\n";
  Ip::IntfAddrInfo info(Lumen::IntfId("Ethernet1"), Lumen::IpAddr("10.0.0.2"));
  std::cout << "  " << info << "\n";
  std::cout << "  read back equal: "
            << Orv::valueToStrep(Orv::strepToValue<Ip::IntfAddrInfo>(Orv::valueToStrep(info)) ==
                                 info)
            << "\n";
  std::cout << "  " << cfg->urpf() << "\n";
  std::cout << "  scope " << Ip::IpAddrScopeInstance(253u) << ", " << Ip::TristateBool::isTrue
            << "\n";

  std::cout << "6. The interface leaves the status: the record is cleared\n";
  status->ipIntfStatusDel(Lumen::IntfId("Ethernet1"));

  client.notifierIs(nullptr);
  sm->unregisterSourceIntf(record);
  Orv::traceSinkIs(nullptr);
  Orv::traceLevelIs("SrcIntf", 8, false);

  std::cout << "7. The same road through the family-neutral view, IPv4 then IPv6\n";
  auto eth2 = Lumen::IntfId("Ethernet2");
  auto s4 = input->ipIntfStatusIs(eth2, l3Input->intfStatusIs(eth2));
  status->ipIntfStatusIs(s4);
  genericRoad(IpGen::ipv4StatusFactory(status), eth2,
              [&] { s4->activeAddrWithMaskIs(Lumen::IpAddrWithMask("10.0.2.1/24")); });
  auto input6 = Ip6::Input::statusFactory("ip6input");
  auto status6 = Ip6::statusFactory("status6");
  auto s6 = input6->intfIs(eth2, l3Input->intfStatusIs(eth2));
  status6->intfIs(s6);
  genericRoad(IpGen::ipv6StatusFactory(status6), eth2, [&] {
    s6->addrIs(Ip6::AddressInfo(Lumen::Ip6AddrWithMask("2001:db8::2/64")));  // not the active one
    s6->addrIs(Ip6::AddressInfo(Lumen::Ip6AddrWithMask("fe80::2/64")));
  });
  std::cout << "done: " << Orv::AllocTrackTypeInfo::totalLiveObjects()
            << " framework objects alive before teardown\n";
  return 0;
}
