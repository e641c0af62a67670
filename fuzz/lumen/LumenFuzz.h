// The value types the Lumen fuzzers exercise, and a check that stops the run.
#pragma once

#include <cstdio>
#include <cstdlib>

#include <ipmodel/Lumen/Lumen.h>

#define LUMEN_FUZZ_CHECK(cond)                                                      \
  do {                                                                              \
    if (!(cond)) {                                                                  \
      std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
      std::abort();                                                                 \
    }                                                                               \
  } while (0)

// Calls f.template operator()<T>() for every value type.
template <class F>
void forEachLumenType(F&& f) {
  using namespace Lumen;
  f.template operator()<IntfId>();
  f.template operator()<LoopbackIntfId>();
  f.template operator()<IpAddr>();
  f.template operator()<IpAddrWithMask>();
  f.template operator()<Prefix>();
  f.template operator()<Ip6Addr>();
  f.template operator()<Ip6AddrWithMask>();
  f.template operator()<Ip6Prefix>();
  f.template operator()<IpGenAddr>();
  f.template operator()<IpGenAddrWithMask>();
  f.template operator()<RouteDistinguisher>();
  f.template operator()<NamespaceName>();
  f.template operator()<L3::VrfName>();
}

// Attribute-log round trip of a valid value: it reads back equal and re-encodes
// to the same bytes.
template <class T>
void checkLogRoundTrip(const T& v) {
  Orv::NboAttrLog::Out out;
  out << v;
  Orv::NboAttrLog::In in(out.bytes());
  T back;
  in >> back;
  LUMEN_FUZZ_CHECK(back == v);
  LUMEN_FUZZ_CHECK(in.atEnd());
}

// Text round trip of a valid value.
template <class T>
void checkTextRoundTrip(const T& v) {
  const std::string text = valueToStrep(v);
  LUMEN_FUZZ_CHECK(T(text) == v);
  T again;
  LUMEN_FUZZ_CHECK(T::tryParse(text, again) && again == v);
  LUMEN_FUZZ_CHECK(!v == (v == T()));
  LUMEN_FUZZ_CHECK(T(text).hash() == v.hash());
}
