// ipmodel: this machine's links and addresses, read from the kernel into the
// library's model, shown, followed and published through the state database;
// published trees shown from another process; and addresses added through
// the library's rtnetlink helpers.
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <ipmodel/ipmodel.h>

#include "Json.h"
#include "KernelModel.h"
#include "Rtnl.h"

namespace {

// A bad command line: one line on stderr, with a hint at the usage.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

const char* const mainUsage =
    "Usage: ipmodel COMMAND [OPTIONS]\n"
    "Commands:\n"
    "  show [--json] [--dest ADDR]   links and addresses of this machine as the model holds them\n"
    "  addr add ADDR/LEN dev NAME [secondary] [scope S] [broadcast B]\n"
    "                                add an address in the kernel\n"
    "  watch                         follow link and address changes, print each generic change\n"
    "  serve [--socket PATH] [--path P]\n"
    "                                publish the model through statedbd and keep it current\n"
    "  mount PATH [--json] [--follow] [--type T] [--socket PATH]\n"
    "                                show a published path\n"
    "Run 'ipmodel COMMAND --help' for the options of one command.\n";
const char* const showUsage =
    "Usage: ipmodel show [--json] [--dest ADDR]\n"
    "  Reads links and addresses from the kernel and prints per interface its VRF,\n"
    "  IPv4 and IPv6 addresses and link-local address.\n"
    "  --json       print the model's interface statuses as JSON\n"
    "  --dest ADDR  also print the source address each interface would choose for ADDR\n";
const char* const addrUsage =
    "Usage: ipmodel addr add ADDR/LEN dev NAME [secondary] [scope S] [broadcast B]\n"
    "  S is universe, site, link, host, nowhere or a number 0-255 (IPv4 only);\n"
    "  secondary and broadcast apply to IPv4 only.\n";
const char* const watchUsage =
    "Usage: ipmodel watch\n"
    "  Follows the kernel's link and address notifications, changes the model and\n"
    "  prints each change of the family-neutral status (counter, VRF, interface,\n"
    "  address). Ctrl-C ends it.\n";

const char* const serveUsage =
    "Usage: ipmodel serve [--socket PATH] [--path P]\n"
    "  Mirrors this machine's links and addresses into the model as watch does and\n"
    "  publishes them through statedbd (writable mounts), kept current as the\n"
    "  kernel's notifications arrive:\n"
    "    P/l3    L3::Intf::Input::StatusDir  the layer-3 interface records\n"
    "    P/ipv4  Ip::Input::Status           the IPv4 interface statuses\n"
    "    P/ipv6  Ip6::Input::Status          the IPv6 interface statuses\n"
    "  Prints \"serving N interfaces at SOCKET: PATHS\" once published.\n"
    "  SIGINT or SIGTERM ends it.\n"
    "  --socket PATH  the server's socket (default /run/statedb/statedb.sock)\n"
    "  --path P       where to publish (default ipmodel)\n";
const char* const mountUsage =
    "Usage: ipmodel mount PATH [--json] [--follow] [--type T] [--socket PATH]\n"
    "  Mounts PATH read-only from statedbd and prints its tree, one attribute a\n"
    "  line (collection members as NAME[KEY]).\n"
    "  --json         print the tree as one JSON object\n"
    "  --follow       keep printing changes until SIGINT or SIGTERM: lines gone\n"
    "                 as \"- LINE\", new lines as \"+ LINE\"; with --json the whole\n"
    "                 tree again\n"
    "  --type T       the type at PATH; known without it for the paths serve\n"
    "                 publishes (ending in /l3, /ipv4 or /ipv6)\n"
    "  --socket PATH  the server's socket (default /run/statedb/statedb.sock)\n";

// How long a mount may take before the program gives up on the server.
constexpr int mountTimeoutMs = 5000;

bool isHelp(const std::string& a) { return a == "--help" || a == "-h" || a == "help"; }

// The source address an interface chooses for `dest`; "" when it has none.
// IPv6 follows the library's selection rules; IPv4 takes the address whose
// subnet holds the destination, else the primary.
std::string sourceFor(const Cli::KernelModel::Intf& intf, const Lumen::IpGenAddr& dest) {
  if (dest.isV6()) {
    auto src = intf.ip6->sourceAddressForDestination(dest.v6());
    return src == Lumen::Ip6Addr() ? "" : Orv::valueToStrep(src);
  }
  const Lumen::IpAddr d = dest.v4();
  auto holds = [&](const Lumen::IpAddrWithMask& am) {
    const std::uint32_t mask = am.len() == 0 ? 0 : ~std::uint32_t(0) << (32 - am.len());
    return (am.address().value() & mask) == (d.value() & mask);
  };
  const auto primary = intf.ip->activeAddrWithMask();
  if (primary == Lumen::IpAddrWithMask()) return "";
  if (holds(primary)) return Orv::valueToStrep(primary.address());
  for (auto it = intf.ip->activeSecondaryWithMask().begin();
       it != intf.ip->activeSecondaryWithMask().end(); ++it) {
    if (holds(it.key())) return Orv::valueToStrep(it.key().address());
  }
  return Orv::valueToStrep(primary.address());
}

std::optional<Lumen::IpGenAddr> parseAddr(const std::string& text) {
  Lumen::IpGenAddr a;
  if (!Lumen::IpGenAddr::tryParse(text, a)) return std::nullopt;
  return a;
}

int show(const std::vector<std::string>& args) {
  bool json = false;
  std::optional<Lumen::IpGenAddr> dest;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (isHelp(args[i])) {
      std::cout << showUsage;
      return 0;
    } else if (args[i] == "--json" || args[i] == "-j" || args[i] == "-json") {
      json = true;
    } else if (args[i] == "--dest") {
      if (i + 1 == args.size()) throw UsageError("--dest needs an address");
      dest = parseAddr(args[++i]);
      if (!dest) throw UsageError("invalid address \"" + args[i] + "\" after --dest");
    } else {
      throw UsageError("unknown option \"" + args[i] + "\" for show");
    }
  }
  Cli::KernelModel model;
  {
    Cli::RtnlSocket rtnl;
    rtnl.dump([&](const Cli::KernelEvent& ev) { model.apply(ev); });
  }
  model.resolveVrfs();
  for (const auto& name : model.skipped()) {
    std::cerr << "ipmodel: link \"" << name << "\" left out: not a valid interface name\n";
  }
  std::ostringstream os;
  if (json) os << '[';
  bool first = true;
  for (const auto& [index, intf] : model.intfs()) {
    const std::string source = dest ? sourceFor(intf, *dest) : "";
    if (json) {
      os << (first ? "" : ",") << "{\"ifindex\":" << index << ",\"ifname\":";
      Cli::jsonString(os, intf.link.name);
      os << ",\"vrf\":";
      Cli::jsonString(os, Orv::valueToStrep(intf.vrf));
      os << ",\"linkLocal\":";
      Cli::jsonString(os, Orv::valueToStrep(intf.ip6->linkLocalAddrWithMask()));
      os << ",\"ipv4\":";
      Cli::jsonEntity(os, *intf.ip);
      os << ",\"ipv6\":";
      Cli::jsonEntity(os, *intf.ip6);
      if (dest) {
        os << ",\"source\":";
        Cli::jsonString(os, source);
      }
      os << '}';
    } else {
      os << index << ": " << intf.link.name << " vrf " << intf.vrf << "\n";
      if (intf.ip->activeAddrWithMask() != Lumen::IpAddrWithMask()) {
        os << "    inet " << intf.ip->activeAddrWithMask() << "\n";
      }
      for (auto it = intf.ip->activeSecondaryWithMask().begin();
           it != intf.ip->activeSecondaryWithMask().end(); ++it) {
        os << "    inet " << it.key() << " secondary\n";
      }
      std::set<std::string> v6;
      for (auto it = intf.ip6->addr().begin(); it != intf.ip6->addr().end(); ++it) {
        if (!it.key().address().isLinkLocal()) v6.insert(Orv::valueToStrep(it.key()));
      }
      for (const auto& a : v6) os << "    inet6 " << a << "\n";
      if (intf.ip6->linkLocalAddrWithMask() != Lumen::Ip6AddrWithMask()) {
        os << "    link-local " << intf.ip6->linkLocalAddrWithMask() << "\n";
      }
      if (dest)
        os << "    source for " << *dest << " " << (source.empty() ? "none" : source) << "\n";
    }
    first = false;
  }
  if (json) os << "]\n";
  std::cout << os.str();
  return 0;
}

// --- addr add ---------------------------------------------------------------

int addrAdd(const std::vector<std::string>& args) {
  if (!args.empty() && isHelp(args[0])) {
    std::cout << addrUsage;
    return 0;
  }
  if (args.empty() || args[0] != "add") {
    throw UsageError(args.empty() ? "addr needs a command: add"
                                  : "unknown addr command \"" + args[0] + "\"");
  }
  std::string prefix, dev;
  bool secondary = false;
  std::optional<Ip::IpAddrScope> scope;
  std::optional<Lumen::IpAddr> broadcast;
  for (std::size_t i = 1; i < args.size(); ++i) {
    const std::string& a = args[i];
    auto next = [&]() -> const std::string& {
      if (i + 1 == args.size()) throw UsageError("\"" + a + "\" needs a value");
      return args[++i];
    };
    if (isHelp(a)) {
      std::cout << addrUsage;
      return 0;
    } else if (a == "dev") {
      dev = next();
    } else if (a == "secondary") {
      secondary = true;
    } else if (a == "scope") {
      const std::string& s = next();
      try {
        scope = Orv::strepToValue<Ip::IpAddrScope>(s);
      } catch (const Orv::Exception&) {
        throw UsageError("invalid scope \"" + s + "\"");
      }
    } else if (a == "broadcast" || a == "brd") {
      const std::string& s = next();
      Lumen::IpAddr b;
      if (!Lumen::IpAddr::tryParse(s, b)) throw UsageError("invalid broadcast \"" + s + "\"");
      broadcast = b;
    } else if (prefix.empty()) {
      prefix = a;
    } else {
      throw UsageError("unexpected argument \"" + a + "\" for addr add");
    }
  }
  if (prefix.empty()) throw UsageError("addr add needs ADDR/LEN");
  if (dev.empty()) throw UsageError("addr add needs dev NAME");
  const auto slash = prefix.find('/');
  if (slash == std::string::npos) {
    throw UsageError("\"" + prefix + "\" needs a prefix length (ADDR/LEN)");
  }
  auto addr = parseAddr(prefix.substr(0, slash));
  if (!addr) throw UsageError("invalid address \"" + prefix + "\"");
  const std::string lenText = prefix.substr(slash + 1);
  const unsigned maxLen = addr->isV6() ? 128 : 32;
  if (lenText.empty() || lenText.size() > 3 ||
      lenText.find_first_not_of("0123456789") != std::string::npos ||
      std::stoul(lenText) > maxLen) {
    throw UsageError("invalid prefix length in \"" + prefix + "\"");
  }
  const int len = std::stoi(lenText);
  if (addr->isV6() && (secondary || scope || broadcast)) {
    throw UsageError("secondary, scope and broadcast apply to IPv4 addresses only");
  }
  const unsigned index = ::if_nametoindex(dev.c_str());
  if (index == 0) {
    std::cerr << "Cannot find device \"" << dev << "\"\n";
    return 1;
  }
  Cli::RtnlSocket rtnl;
  const int rc = addr->isV6() ? Ip::ip6AddrAddCommon(rtnl.fd(), index, addr->v6(), len)
                              : Ip::ipAddrAddCommon(rtnl.fd(), index, addr->v4(), len, secondary,
                                                    broadcast.value_or(Lumen::IpAddr()),
                                                    scope.value_or(Ip::IpAddrScope::universe));
  if (rc == 0) return 0;
  const std::string text = Lumen::netlinkAckMessage();
  if (!text.empty()) {
    std::cerr << "Error: " << text << ".\n";
  } else {
    std::cerr << "RTNETLINK answers: " << std::strerror(-rc) << "\n";
  }
  return 2;
}

// --- watch ------------------------------------------------------------------

volatile sig_atomic_t stopRequested = 0;
void onStopSignal(int) { stopRequested = 1; }

// The stop signals stay blocked except inside the waits, so one that comes
// while a notification is being handled ends the wait that follows. Returns
// the mask to wait with.
sigset_t blockStopSignals() {
  sigset_t stopSignals, waitMask;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  sigprocmask(SIG_BLOCK, &stopSignals, &waitMask);
  struct sigaction sa {};
  sa.sa_handler = onStopSignal;
  sigaction(SIGINT, &sa, nullptr);
  sigaction(SIGTERM, &sa, nullptr);
  return waitMask;
}

// Waits for `fds` with the stop signals let through; false when a signal
// ended the wait.
bool waitReady(pollfd* fds, nfds_t n, const timespec* timeout, const sigset_t& waitMask) {
  if (::ppoll(fds, n, timeout, &waitMask) >= 0) return true;
  if (errno == EINTR) return false;
  throw std::runtime_error(std::string("poll: ") + std::strerror(errno));
}

// Keeps a model in step with the kernel: joins the link and address
// notification groups, then loads the current links and addresses.
// Notifications for changes made during the load come again afterwards; the
// model's setters ignore what they already hold.
class KernelFollower {
 public:
  explicit KernelFollower(Cli::KernelModel& model)
      : model_(model), events_({RTNLGRP_LINK, RTNLGRP_IPV4_IFADDR, RTNLGRP_IPV6_IFADDR}) {
    Cli::RtnlSocket rtnl;
    rtnl.dump([&](const Cli::KernelEvent& ev) { model_.apply(ev); });
    model_.resolveVrfs();
  }
  int fd() const { return events_.fd(); }
  void readOnce() {
    events_.readOnce([&](const Cli::KernelEvent& ev) { model_.apply(ev); });
  }

 private:
  Cli::KernelModel& model_;
  Cli::RtnlSocket events_;
};

// Prints each counter of a family-neutral status as it moves, with the VRF,
// interface and address the change names.
class ChangePrinter : public IpGen::Status::NotifieeConst {
 public:
  void onVrfCollectionChanged() override {
    print("vrfCollectionChanged", n()->vrfCollectionChanged());
  }
  void onIntfInVrfChanged() override { print("intfInVrfChanged", n()->intfInVrfChanged()); }
  void onAddrChanged() override { print("addrChanged", n()->addrChanged()); }
  void onActiveAddrChanged() override { print("activeAddrChanged", n()->activeAddrChanged()); }
  void onVirtualAddrChanged() override { print("virtualAddrChanged", n()->virtualAddrChanged()); }

 private:
  const IpGen::Status* n() { return notifier().get(); }
  void print(const char* counter, std::uint32_t value) {
    // Address changes name no VRF of their own: the interface's is shown.
    L3::VrfName vrf = n()->changedVrf();
    if (vrf == L3::VrfName() && n()->changedIntf() != Lumen::IntfId()) {
      vrf = n()->vrf(n()->changedIntf());
    }
    std::cout << n()->af() << " " << counter << " " << value << " vrf " << vrf << " intf "
              << n()->changedIntf() << " addr " << n()->changedAddr() << std::endl;
  }
};

int watch(const std::vector<std::string>& args) {
  for (const auto& a : args) {
    if (isHelp(a)) {
      std::cout << watchUsage;
      return 0;
    }
    throw UsageError("unknown option \"" + a + "\" for watch");
  }
  const sigset_t waitMask = blockStopSignals();
  Cli::KernelModel model;
  KernelFollower kernel(model);
  ChangePrinter p4, p6;
  p4.notifierIs(model.gen4());
  p6.notifierIs(model.gen6());
  std::cout << "watching" << std::endl;
  // Notifications for changes made during the dump come again here; the
  // model's setters ignore what they already hold.
  while (!stopRequested) {
    pollfd pfd{kernel.fd(), POLLIN, 0};
    if (!waitReady(&pfd, 1, nullptr, waitMask)) continue;
    kernel.readOnce();
  }
  p4.notifierIs(nullptr);
  p6.notifierIs(nullptr);
  return 0;
}

// --- serve and mount ----------------------------------------------------------

// Parses "--socket PATH" at args[i]; true when it was that option.
bool socketOption(const std::vector<std::string>& args, std::size_t& i, std::string& socket) {
  if (args[i] != "--socket") return false;
  if (i + 1 == args.size()) throw UsageError("--socket needs a path");
  socket = args[++i];
  return true;
}

// Waits until every mount of `mg` has completed; throws a one-line reason
// when the server cannot be reached or refuses one.
void waitMounted(Statedb::MountGroup& mg, const std::string& socket) {
  const bool settled = mg.waitFor([&] { return mg.settled(); }, mountTimeoutMs);
  for (const auto& m : mg.mounts()) {
    if (mg.state(m.path()) == Statedb::MountState::failed) {
      throw std::runtime_error("cannot mount " + m.path() + ": " + mg.error(m.path()));
    }
  }
  if (!settled) {
    throw std::runtime_error(mg.connected() ? "no answer from statedbd at " + socket
                                            : "cannot reach statedbd at " + socket);
  }
}

template <class T>
Orv::Ptr<T> mountAt(Statedb::MountGroup& mg, const std::string& path, const char* flags) {
  mg.doMount(Statedb::Mount(path, T::orvType.name, flags), Statedb::MountFilter(false),
             Statedb::handleFlags(flags));
  return Orv::ptr_cast<T>(mg.entity(path));
}

int serve(const std::vector<std::string>& args) {
  std::string socket = Statedb::defaultSocketPath, prefix = "ipmodel";
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (isHelp(args[i])) {
      std::cout << serveUsage;
      return 0;
    } else if (socketOption(args, i, socket)) {
    } else if (args[i] == "--path") {
      if (i + 1 == args.size()) throw UsageError("--path needs a path");
      prefix = args[++i];
      if (prefix.empty() || prefix.front() == '/' || prefix.back() == '/') {
        throw UsageError("invalid path \"" + prefix + "\" after --path");
      }
    } else {
      throw UsageError("unknown option \"" + args[i] + "\" for serve");
    }
  }
  const sigset_t waitMask = blockStopSignals();
  auto mg = Statedb::MountGroup::mountGroupIs(socket);
  const std::string l3Path = prefix + "/l3", ipPath = prefix + "/ipv4", ip6Path = prefix + "/ipv6";
  // The mounts' local trees are the model's own: every change the kernel
  // reports goes through them to the server.
  auto l3 = mountAt<L3::Intf::Input::StatusDir>(*mg, l3Path, "w");
  auto ip = mountAt<Ip::Input::Status>(*mg, ipPath, "w");
  auto ip6 = mountAt<Ip6::Input::Status>(*mg, ip6Path, "w");
  waitMounted(*mg, socket);
  Cli::KernelModel model(l3, ip, ip6);
  KernelFollower kernel(model);
  mg->processReady();
  std::cout << "serving " << model.intfs().size() << " interfaces at " << socket << ": " << l3Path
            << " " << ipPath << " " << ip6Path << std::endl;
  // While the server is away the group has no socket: it tries again at
  // each processReady(), so the wait is bounded then.
  const timespec retry{0, 100 * 1000 * 1000};
  while (!stopRequested) {
    pollfd fds[2] = {{kernel.fd(), POLLIN, 0},
                     {mg->fd(), short(POLLIN | (mg->wantsWrite() ? POLLOUT : 0)), 0}};
    const bool connected = fds[1].fd >= 0;
    if (waitReady(fds, connected ? 2 : 1, connected ? nullptr : &retry, waitMask) &&
        (fds[0].revents & POLLIN)) {
      kernel.readOnce();
    }
    mg->processReady();
  }
  // What the kernel reported last goes to the server before the program ends.
  if (mg->connected()) mg->flush(mountTimeoutMs);
  return 0;
}

// The type at a path serve publishes, by its last component; "" otherwise.
std::string servedType(const std::string& path) {
  const std::string last = path.substr(path.rfind('/') + 1);
  if (last == "l3") return L3::Intf::Input::StatusDir::orvType.name;
  if (last == "ipv4") return Ip::Input::Status::orvType.name;
  if (last == "ipv6") return Ip6::Input::Status::orvType.name;
  return "";
}

int mount(const std::vector<std::string>& args) {
  std::string socket = Statedb::defaultSocketPath, path, type;
  bool json = false, follow = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (isHelp(args[i])) {
      std::cout << mountUsage;
      return 0;
    } else if (socketOption(args, i, socket)) {
    } else if (args[i] == "--json" || args[i] == "-j" || args[i] == "-json") {
      json = true;
    } else if (args[i] == "--follow" || args[i] == "-f") {
      follow = true;
    } else if (args[i] == "--type") {
      if (i + 1 == args.size()) throw UsageError("--type needs a type name");
      type = args[++i];
    } else if (path.empty() && !args[i].empty() && args[i][0] != '-') {
      path = args[i];
    } else {
      throw UsageError("unexpected argument \"" + args[i] + "\" for mount");
    }
  }
  if (path.empty()) throw UsageError("mount needs a PATH");
  if (type.empty()) type = servedType(path);
  if (type.empty()) {
    throw UsageError("no type known for path \"" + path + "\"; give --type");
  }
  const sigset_t waitMask = blockStopSignals();
  auto mg = Statedb::MountGroup::mountGroupIs(socket);
  mg->doMount(Statedb::Mount(path, type, "r"), Statedb::MountFilter(false),
              Statedb::handleFlags("r"));
  waitMounted(*mg, socket);
  const Orv::Ptr<Orv::Entity> root = mg->entity(path);
  auto render = [&] {
    std::ostringstream os;
    if (json) {
      Cli::jsonEntity(os, *root);
      os << '\n';
    } else {
      Cli::textEntity(os, *root);
    }
    return os.str();
  };
  std::string shown = render();
  std::cout << shown << std::flush;
  if (!follow) return 0;
  const timespec retry{0, 100 * 1000 * 1000};
  while (!stopRequested) {
    pollfd pfd{mg->fd(), short(POLLIN | (mg->wantsWrite() ? POLLOUT : 0)), 0};
    const bool connected = pfd.fd >= 0;
    waitReady(&pfd, connected ? 1 : 0, connected ? nullptr : &retry, waitMask);
    mg->processReady();
    std::string now = render();
    if (now == shown) continue;
    if (json) {
      std::cout << now << std::flush;
    } else {
      // The lines that went and the lines that came.
      auto lines = [](const std::string& text) {
        std::vector<std::string> v;
        std::istringstream in(text);
        for (std::string l; std::getline(in, l);) v.push_back(l);
        std::sort(v.begin(), v.end());
        return v;
      };
      const auto before = lines(shown), after = lines(now);
      std::vector<std::string> gone, came;
      std::set_difference(before.begin(), before.end(), after.begin(), after.end(),
                          std::back_inserter(gone));
      std::set_difference(after.begin(), after.end(), before.begin(), before.end(),
                          std::back_inserter(came));
      for (const auto& l : gone) std::cout << "- " << l << '\n';
      for (const auto& l : came) std::cout << "+ " << l << '\n';
      std::cout << std::flush;
    }
    shown = std::move(now);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  try {
    if (args.empty() || isHelp(args[0])) {
      (args.empty() ? std::cerr : std::cout) << mainUsage;
      return args.empty() ? 1 : 0;
    }
    // As with ip, -j/-json may come before the command.
    bool json = false;
    while (!args.empty() && (args[0] == "-j" || args[0] == "-json" || args[0] == "--json")) {
      json = true;
      args.erase(args.begin());
    }
    if (args.empty()) throw UsageError("missing command");
    const std::string cmd = args[0];
    args.erase(args.begin());
    if (json && cmd != "show" && cmd != "mount") {
      throw UsageError("--json applies to show and mount only");
    }
    if (json) args.push_back("--json");
    if (cmd == "show") return show(args);
    if (cmd == "addr" || cmd == "address" || cmd == "a") return addrAdd(args);
    if (cmd == "watch" || cmd == "monitor") return watch(args);
    if (cmd == "serve") return serve(args);
    if (cmd == "mount") return mount(args);
    throw UsageError("unknown command \"" + cmd + "\"");
  } catch (const UsageError& e) {
    std::cerr << "ipmodel: " << e.what() << " (try 'ipmodel --help')\n";
    return 1;
  } catch (const std::exception& e) {
    std::cerr << "ipmodel: " << e.what() << "\n";
    return 1;
  }
}
