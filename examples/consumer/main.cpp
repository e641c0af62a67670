// Uses the installed library's headers and shared library; exits non-zero
// when a round trip through them does not give back what went in.
#include <cstdio>
#include <string>

#include <ipmodel/ipmodel.h>

namespace {

int failures = 0;

void check(bool ok, const char* what) {
  if (!ok) {
    std::fprintf(stderr, "consumer: %s failed\n", what);
    ++failures;
  }
}

// Framework: counted pointers and an attribute-log round trip (the log's
// error path lives in the shared library).
void checkFramework() {
  Orv::Ptr<Orv::NboAttrLog::Out> out = Orv::NboAttrLog::Out::outIs();
  Orv::Ptr<Orv::NboAttrLog::Out> second = out;
  check(out->references() == 2, "Ptr reference count");

  out->writeString("Ethernet1");
  out->writeU64(0x0102030405060708ull);
  Orv::NboAttrLog::In in(out->bytes());
  check(in.readString() == "Ethernet1", "string round trip");
  check(in.readU64() == 0x0102030405060708ull, "u64 round trip");

  bool threw = false;
  try {
    in.readU8();
  } catch (const Orv::NboAttrLogException&) {
    threw = true;
  }
  check(threw, "read past the end throws");
}

// Model types from the installed headers: registration ran when the library
// loaded, notification reaches a reactor defined out here, and the source-
// interface machine follows an address change.
void checkModel() {
  check(Orv::typeNode("Ip::IpIntfStatus") != nullptr, "IPv4 types registered");
  struct Counter : Ip::IpIntfStatus::NotifieeConst {
    int calls = 0;
    void onActiveAddrWithMask() override { ++calls; }
  } counter;
  auto l3 = L3::Intf::Input::statusDirFactory("l3");
  auto input = Ip::Input::statusFactory("ip");
  auto status = Ip::statusFactory("status");
  auto s = input->ipIntfStatusIs(Lumen::IntfId("Ethernet1"),
                                 l3->intfStatusIs(Lumen::IntfId("Ethernet1")));
  counter.notifierIs(s);
  status->ipIntfStatusIs(s);
  auto dir = Ip::SourceIntf::sourceIntfDirFactory("dir");
  auto sm = Ip::SourceIntf::SourceIntfSm::SourceIntfSmIs(dir, status);
  auto record = sm->registerSourceIntf(Lumen::IntfId("Ethernet1"));
  s->activeAddrWithMaskIs(Lumen::IpAddrWithMask("192.0.2.1/24"));
  check(counter.calls == 1, "reactor notified once");
  check(record->ipAddr() == Lumen::IpAddr("192.0.2.1"), "source-interface record follows");
  check(Orv::allocTrack<Ip::IpIntfStatus>().liveObjects() == 1, "allocation tracking shared");
  sm->unregisterSourceIntf(record);
}

}  // namespace

int main() {
  checkFramework();
  checkModel();
  if (failures == 0) std::printf("consumer: ok\n");
  return failures == 0 ? 0 : 1;
}
