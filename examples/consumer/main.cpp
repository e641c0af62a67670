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

}  // namespace

int main() {
  checkFramework();
  if (failures == 0) std::printf("consumer: ok\n");
  return failures == 0 ? 0 : 1;
}
