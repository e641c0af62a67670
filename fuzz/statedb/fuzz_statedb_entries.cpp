// Arbitrary bytes as an entries frame from a state-database peer, applied to
// mounted IPv4 and IPv6 status trees: only the framework's exceptions may
// escape, reads stay within the input, and whatever was applied can be
// written out again and applied to a second replica.
#include <cstddef>
#include <cstdint>

#include <ipmodel/ipmodel.h>
#include <ipmodel/Statedb/internal/Session.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using Sa = Orv::Entity::OrvNboAttrLogSa;
  Statedb::internal::Index index;
  {
    Statedb::internal::Session session(-1, index, Statedb::internal::serverFirstIdentity, 1 << 16);
    auto l3 = L3::Intf::Input::statusDirFactory("l3");
    auto ip4 = Ip::Input::statusFactory("ip4");
    auto ip6 = Ip6::Input::statusFactory("ip6");
    auto eth = Lumen::IntfId("Ethernet1");
    ip4->ipIntfStatusIs(eth, l3->intfStatusIs(eth));
    session.attach(*l3, 1, Sa::remoteWriteAllowed);
    session.attach(*ip4, 2, Sa::remoteWriteAllowed);
    session.attach(*ip6, 3, Sa::remoteWriteAllowed | Sa::readOnly);
    Orv::NboAttrLog::In in(data, size);
    try {
      session.applyEntries(in, [](const std::string&) {});
    } catch (const Orv::Exception&) {
    }
    session.detachAll();
    auto out = Orv::NboAttrLog::Out::outIs();
    ip4->orvNboAttrLogSaIs({}, 2, out)->serializeAll();
  }
  index.clear();
  return 0;
}
