#include <cstdint>
#include <iostream>
#include <string>

#include <ipmodel/ipmodel.h>

static Orv::TraceHandle trace("Readme");

int main() {
  Orv::traceLevelIs("Readme", 5, true);  // levels 0..9, each on or off

  // An attribute log as one agent writes it for another.
  Orv::Ptr<Orv::NboAttrLog::Out> log = Orv::NboAttrLog::Out::outIs();
  log->writeString("Ethernet1");
  log->writeU32(1500);
  ORV_TRACE(trace, 5, "wrote " << log->size() << " bytes");

  // The reader's side: bounds-checked, throws Orv::NboAttrLogException on
  // malformed input.
  Orv::NboAttrLog::In in(log->bytes());
  std::string intf = in.readString();
  std::uint32_t mtu = in.readU32();
  std::cout << intf << " mtu " << mtu << "\n";
  return in.atEnd() ? 0 : 1;
}
