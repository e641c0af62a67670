// The ipmodel program's reader of rtnetlink datagrams on arbitrary bytes: it
// either hands over well-formed links and addresses or throws
// std::runtime_error, and never reads outside the datagram.
#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <vector>

#include "Rtnl.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // A copy of exactly `size` bytes, so that any read past the end is caught.
  std::vector<std::uint8_t> copy(data, data + size);
  try {
    Cli::parseDatagram(copy.data(), copy.size(), [](const Cli::KernelEvent& ev) {
      if (ev.addr) {
        const auto& a = *ev.addr;
        const std::size_t want = a.family == AF_INET ? 4 : 16;
        if (a.local.size() != want) std::abort();
      }
      if (ev.link.has_value() == ev.addr.has_value()) std::abort();
    });
  } catch (const std::runtime_error&) {
  }
  return 0;
}
