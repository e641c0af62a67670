#include <iostream>

#include <ipmodel/ipmodel.h>

// A reactor: derive from the entity's notifiee class, override the handlers
// of the attributes you care about, attach with notifierIs().
class ActiveAddrPrinter : public Ip::IpIntfStatus::NotifieeConst {
 public:
  void onActiveAddrWithMask() override {
    std::cout << notifier()->intfId() << " is now " << notifier()->activeAddrWithMask() << "\n";
  }
};

int main() {
  // The IP agent's status input creates one status per interface, bound to
  // the interface's layer-3 record.
  auto l3 = L3::Intf::Input::statusDirFactory("l3");
  auto input = Ip::Input::statusFactory("ip");
  auto eth1 = Lumen::IntfId("Ethernet1");
  auto status = input->ipIntfStatusIs(eth1, l3->intfStatusIs(eth1));

  ActiveAddrPrinter printer;
  printer.notifierIs(status);
  status->activeAddrWithMaskIs(Lumen::IpAddrWithMask("10.0.0.1/24"));  // prints
  status->activeAddrWithMaskIs(Lumen::IpAddrWithMask("10.0.0.1/24"));  // no change: silent

  // Bad input gets the framework's exception with its exact message.
  auto config = Ip::configFactory("config")->ipIntfConfigIs(eth1);
  try {
    config->maxMssEgressIs(65516);
  } catch (const Orv::RangeException& e) {
    std::cout << e.what() << "\n";
  }

  // Every value has a textual form that reads back.
  Ip::IntfAddrInfo info(eth1, Lumen::IpAddr("10.0.0.1"));
  std::cout << info << "\n";
  return Orv::strepToValue<Ip::IntfAddrInfo>(Orv::valueToStrep(info)) == info ? 0 : 1;
}
