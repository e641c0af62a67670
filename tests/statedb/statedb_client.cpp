// A state-database client driven line by line on standard input, so that
// tests can run several of them as real processes. Every command answers
// one line on standard output.
//
//   mount PATH TYPE FLAGS      -> "mounted PATH" | "failed PATH: REASON" | "timeout"
//   mountf PATH TYPE FLAGS NAMES
//                              the same, taking only the members named in NAMES
//                              (comma-separated; "-" for none)
//   l3 PATH INTF               create an L3 status in the L3 input directory at PATH
//   ip4 PATH INTF L3PATH ADDR  create/update an IPv4 status, bound to INTF's L3 status
//   ip6 PATH INTF L3PATH N     create/update an IPv6 status; nsRetransmitInterval N
//   mss4 PATH INTF N           set maxMssEgress of an IPv4 status
//   many PATH L3PATH COUNT ROUNDS
//                              COUNT IPv4 statuses, each with maxMssEgress set
//                              ROUNDS times (the last value is ROUNDS) and an
//                              address ending in the round
//   flush                      -> "flushed" once everything is handed to the kernel
//   wait4 PATH INTF ADDR       -> "seen" when the IPv4 status has ADDR
//   wait6 PATH INTF N          -> "seen" when the IPv6 status has interval N
//   waitmany PATH COUNT ROUNDS -> "seen" when all COUNT statuses show round ROUNDS
//   get4 PATH INTF             -> "ADDR MSS" or "absent"
//   count4 PATH                -> the number of IPv4 statuses at PATH
//   l3of PATH INTF             -> "L3NAME vrf VRF" for the IPv4 status's l3Status,
//                                 "null" while it is unresolved, "absent"
//   waitl3 PATH INTF           -> what l3of says, once l3Status is resolved
//   reconnected                -> "connected" once connected and every mount settled
//   sleepless                  -> "ok" (does not touch the socket: a stalled reader)
//   quit
#include <cstdio>
#include <iostream>
#include <pwd.h>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include <ipmodel/ipmodel.h>

namespace {

constexpr int timeoutMs = 20000;

Lumen::IntfId intf(const std::string& s) { return Lumen::IntfId(s); }

template <class T>
Orv::Ptr<T> at(const Orv::Ptr<Statedb::MountGroup>& mg, const std::string& path) {
  return Orv::ptr_cast<T>(mg->entity(path));
}

Orv::Ptr<L3::Intf::Status> l3Of(const Orv::Ptr<Statedb::MountGroup>& mg, const std::string& path,
                                const std::string& name) {
  auto dir = at<L3::Intf::Input::StatusDir>(mg, path);
  return dir ? dir->intfStatusIs(intf(name)) : Orv::Ptr<L3::Intf::Status>();
}

// The address the many command sets in round r.
Lumen::IpAddrWithMask roundAddr(unsigned r) {
  const std::string t = "10.0." + std::to_string(r / 256) + "." + std::to_string(r % 256) + "/24";
  return Lumen::IpAddrWithMask(t.c_str());
}

void answer(const std::string& s) { std::cout << s << std::endl; }

// The layer-3 record an IPv4 status follows, as l3of prints it.
std::string l3Text(const Orv::Ptr<Statedb::MountGroup>& mg, const std::string& path,
                   const std::string& name) {
  auto st = at<Ip::Input::Status>(mg, path);
  auto s = st ? st->ipIntfStatus(intf(name)) : Orv::Ptr<Ip::IpIntfStatus>();
  if (!s) return "absent";
  if (!s->l3Status()) return "null";
  return s->l3Status()->fullName() + " vrf " + Orv::valueToStrep(s->vrf());
}

}  // namespace

int main(int argc, char** argv) {
  std::string socket = Statedb::defaultSocketPath;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string a = argv[i];
    if (a == "--socket") socket = argv[i + 1];
    if (a == "--user") {
      // Runs as another user, to meet the server's credential checks.
      const passwd* pw = ::getpwnam(argv[i + 1]);
      if (pw == nullptr || ::setgid(pw->pw_gid) != 0 || ::setuid(pw->pw_uid) != 0) {
        std::fprintf(stderr, "cannot become %s\n", argv[i + 1]);
        return 2;
      }
    }
  }
  auto mg = Statedb::MountGroup::mountGroupIs(socket);
  std::string line;
  while (std::getline(std::cin, line)) {
    std::istringstream in(line);
    std::string cmd;
    in >> cmd;
    try {
      if (cmd == "mount" || cmd == "mountf") {
        std::string path, type, flags, list;
        in >> path >> type >> flags >> list;
        Statedb::MountFilter filter(false);
        if (cmd == "mountf") {
          std::vector<std::string> names;
          std::istringstream items(list == "-" ? "" : list);
          for (std::string n; std::getline(items, n, ',');) names.push_back(n);
          filter = Statedb::MountFilter(names);
        }
        mg->doMount(Statedb::Mount(path, type, flags), filter, Statedb::handleFlags(flags));
        if (!mg->waitFor([&] { return mg->state(path) != Statedb::MountState::pending; },
                         timeoutMs)) {
          answer("timeout");
        } else if (mg->state(path) == Statedb::MountState::failed) {
          answer("failed " + path + ": " + mg->error(path));
        } else {
          answer("mounted " + path);
        }
      } else if (cmd == "l3") {
        std::string path, name;
        in >> path >> name;
        answer(l3Of(mg, path, name) ? "ok" : "no such mount");
      } else if (cmd == "ip4") {
        std::string path, name, l3path, addr;
        in >> path >> name >> l3path >> addr;
        auto s =
            at<Ip::Input::Status>(mg, path)->ipIntfStatusIs(intf(name), l3Of(mg, l3path, name));
        s->activeAddrWithMaskIs(Lumen::IpAddrWithMask(addr.c_str()));
        answer("ok");
      } else if (cmd == "ip6") {
        std::string path, name, l3path;
        std::uint32_t n = 0;
        in >> path >> name >> l3path >> n;
        auto s = at<Ip6::Input::Status>(mg, path)->intfIs(intf(name), l3Of(mg, l3path, name));
        s->nsRetransmitIntervalIs(n);
        answer("ok");
      } else if (cmd == "mss4") {
        std::string path, name;
        unsigned n = 0;
        in >> path >> name >> n;
        at<Ip::Input::Status>(mg, path)
            ->ipIntfStatus(intf(name))
            ->maxMssEgressIs(static_cast<std::uint16_t>(n));
        answer("ok");
      } else if (cmd == "many") {
        std::string path, l3path;
        unsigned count = 0, rounds = 0;
        in >> path >> l3path >> count >> rounds;
        auto st = at<Ip::Input::Status>(mg, path);
        for (unsigned r = 1; r <= rounds; ++r) {
          for (unsigned i = 0; i < count; ++i) {
            const std::string name = "Ethernet" + std::to_string(i);
            auto s = st->ipIntfStatusIs(intf(name), l3Of(mg, l3path, name));
            s->maxMssEgressIs(static_cast<std::uint16_t>(r));
            s->activeAddrWithMaskIs(roundAddr(r));
          }
          mg->processReady();  // hands what the socket takes to the kernel
        }
        answer("ok");
      } else if (cmd == "flush") {
        answer(mg->flush(timeoutMs) ? "flushed" : "timeout");
      } else if (cmd == "wait4") {
        std::string path, name, addr;
        in >> path >> name >> addr;
        const Lumen::IpAddrWithMask want(addr.c_str());
        const bool ok = mg->waitFor(
            [&] {
              auto st = at<Ip::Input::Status>(mg, path);
              auto s = st ? st->ipIntfStatus(intf(name)) : Orv::Ptr<Ip::IpIntfStatus>();
              return s && s->activeAddrWithMask() == want;
            },
            timeoutMs);
        answer(ok ? "seen" : "timeout");
      } else if (cmd == "wait6") {
        std::string path, name;
        std::uint32_t n = 0;
        in >> path >> name >> n;
        const bool ok = mg->waitFor(
            [&] {
              auto st = at<Ip6::Input::Status>(mg, path);
              auto s = st ? st->intf(intf(name)) : Orv::Ptr<Ip6::IntfStatus>();
              return s && s->nsRetransmitInterval() == n;
            },
            timeoutMs);
        answer(ok ? "seen" : "timeout");
      } else if (cmd == "waitmany") {
        std::string path;
        unsigned count = 0, rounds = 0;
        in >> path >> count >> rounds;
        const Lumen::IpAddrWithMask want = roundAddr(rounds);
        const bool ok = mg->waitFor(
            [&] {
              auto st = at<Ip::Input::Status>(mg, path);
              if (!st || st->ipIntfStatus().size() != count) return false;
              for (unsigned i = 0; i < count; ++i) {
                auto s = st->ipIntfStatus(intf("Ethernet" + std::to_string(i)));
                if (!s || s->maxMssEgress() != rounds || !(s->activeAddrWithMask() == want))
                  return false;
              }
              return true;
            },
            timeoutMs);
        answer(ok ? "seen" : "timeout");
      } else if (cmd == "get4") {
        std::string path, name;
        in >> path >> name;
        mg->processReady();
        auto st = at<Ip::Input::Status>(mg, path);
        auto s = st ? st->ipIntfStatus(intf(name)) : Orv::Ptr<Ip::IpIntfStatus>();
        answer(s ? Orv::valueToStrep(s->activeAddrWithMask()) + " " +
                       std::to_string(s->maxMssEgress())
                 : "absent");
      } else if (cmd == "count4") {
        std::string path;
        in >> path;
        mg->processReady();
        auto st = at<Ip::Input::Status>(mg, path);
        answer(st ? std::to_string(st->ipIntfStatus().size()) : "absent");
      } else if (cmd == "l3of" || cmd == "waitl3") {
        std::string path, name;
        in >> path >> name;
        mg->processReady();
        if (cmd == "waitl3") {
          mg->waitFor([&] { return l3Text(mg, path, name).find(" vrf ") != std::string::npos; },
                      timeoutMs);
        }
        answer(l3Text(mg, path, name));
      } else if (cmd == "reconnected") {
        const bool ok = mg->waitFor([&] { return mg->connected() && mg->settled(); }, timeoutMs);
        answer(ok ? "connected" : "timeout");
      } else if (cmd == "sleepless") {
        answer("ok");
      } else if (cmd == "quit") {
        break;
      } else {
        answer("unknown command " + cmd);
      }
    } catch (const Orv::ReadOnlyProxyException& e) {
      answer(std::string("readonly: ") + e.what());
    } catch (const Orv::Exception& e) {
      answer(std::string("error: ") + e.what());
    }
  }
  return 0;
}
