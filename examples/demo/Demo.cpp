// The main job of the library, shown end to end: an agent publishes IPv4
// interface status, a source-interface machine derives the records that
// clients follow, and every change is printed as it happens.
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
  std::cout << "done: " << Orv::AllocTrackTypeInfo::totalLiveObjects()
            << " framework objects alive before teardown\n";
  return 0;
}
