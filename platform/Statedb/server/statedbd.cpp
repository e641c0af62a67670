// statedbd: the state database server. It holds the authoritative entity
// trees at paths, serves mounts over a Unix-domain socket and passes every
// writer's changes on to the other mounters of the path. One thread, one
// epoll loop.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <unordered_set>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

#include <ipmodel/ipmodel.h>
#include <ipmodel/Statedb/Statedb.h>
#include <ipmodel/Statedb/internal/Session.h>

namespace {

using Orv::Entity;
using Orv::Ptr;
using Orv::NboAttrLog::In;
using Orv::NboAttrLog::Out;
using Statedb::internal::Session;
using Sa = Entity::OrvNboAttrLogSa;

const char* const usage =
    "usage: statedbd [options]\n"
    "\n"
    "Serves the state database: entity trees at paths, mounted by clients over a\n"
    "Unix-domain socket.\n"
    "\n"
    "options:\n"
    "  --socket PATH        listen on PATH (default /run/statedb/statedb.sock); the\n"
    "                       socket is created owner-only (mode 0600) and its folder\n"
    "                       is created when missing\n"
    "  --allow RULE         let more peers mount; RULE is PREFIX:MODE:WHO where\n"
    "                       PREFIX is a path prefix (empty: every path), MODE is r\n"
    "                       (read-only mounts) or w (read-only and writable mounts)\n"
    "                       and WHO is uid=N, gid=N or * (anyone). Repeatable. The\n"
    "                       server's own user may always mount anything.\n"
    "  --budget BYTES       bytes queued per client before changes wait in the\n"
    "                       adapters' dirty sets (default 1048576)\n"
    "  --verbose            log every mount\n"
    "  --help               print this text and exit\n"
    "\n"
    "SIGTERM or SIGINT stop the server cleanly. Reasons for refused mounts and\n"
    "closed connections go to standard error.\n";

struct Rule {
  std::string prefix;
  bool write;
  enum { uid, gid, anyone } who;
  unsigned id;
};

struct Options {
  std::string socket = Statedb::defaultSocketPath;
  std::vector<Rule> rules;
  std::size_t budget = 1u << 20;
  bool verbose = false;
};

bool parseRule(const std::string& text, Rule& r) {
  const auto a = text.find(':');
  if (a == std::string::npos) return false;
  const auto b = text.find(':', a + 1);
  if (b == std::string::npos) return false;
  r.prefix = text.substr(0, a);
  const std::string mode = text.substr(a + 1, b - a - 1);
  const std::string who = text.substr(b + 1);
  if (mode != "r" && mode != "w") return false;
  r.write = mode == "w";
  if (who == "*") {
    r.who = Rule::anyone;
    r.id = 0;
    return true;
  }
  const std::string num = who.substr(4);
  if ((who.rfind("uid=", 0) != 0 && who.rfind("gid=", 0) != 0) || num.empty() ||
      num.find_first_not_of("0123456789") != std::string::npos) {
    return false;
  }
  r.who = who[0] == 'u' ? Rule::uid : Rule::gid;
  r.id = static_cast<unsigned>(std::stoul(num));
  return true;
}

struct Node {
  Ptr<Entity> root;
  std::string type;
};

// What a filtered mount takes: in each collection of the mounted entity
// keyed by a name, the members whose key is one of the names; everything
// else whole.
class NameFilter : public Orv::NboAttrLog::MemberFilter {
 public:
  NameFilter(const Orv::TypeDesc& t, const std::vector<std::string>& names) {
    static const char* const nameTypes[] = {"Lumen::IntfId", "L3::VrfName", "Orv::String",
                                            "Orv::Name", "Lumen::NamespaceName"};
    for (std::uint16_t i = 0; i < t.attrCount; ++i) {
      const Orv::AttrDesc& a = t.attrs[i];
      if (a.category != Orv::AttrCategory::collection || a.keyType == nullptr) continue;
      for (const char* n : nameTypes) {
        if (std::string_view(a.keyType) == n) colls_.push_back(a.id);
      }
    }
    // Names compare in their log form, as the adapter hands keys over.
    for (const std::string& n : names) {
      Out o;
      o.writeString(n);
      keys_.emplace(reinterpret_cast<const char*>(o.bytes().data()), o.size());
    }
  }
  bool takes(std::uint16_t collId, const std::uint8_t* key, std::size_t n) const override {
    if (std::find(colls_.begin(), colls_.end(), collId) == colls_.end()) return true;
    return keys_.count(std::string(reinterpret_cast<const char*>(key), n)) != 0;
  }

 private:
  std::vector<std::uint16_t> colls_;
  std::unordered_set<std::string> keys_;
};

struct Client {
  // Before the session: its adapters point at them until it is gone.
  std::map<std::uint32_t, std::unique_ptr<NameFilter>> filters;  // mount id -> filter
  std::unique_ptr<Session> session;
  ucred cred{};
  std::map<std::uint32_t, std::string> mounts;  // mount id -> path
  bool pollingOut = false;
};

class Server {
 public:
  explicit Server(Options o) : opt_(std::move(o)) {}
  int run();

 private:
  bool allowed(const ucred& c, const std::string& path, bool write) const;
  void accept();
  void serve(int fd);
  void onFrame(Client& c, std::uint8_t type, In& in);
  void mount(Client& c, In& in);
  void close(int fd, const std::string& why);
  void listInDir(const std::string& path, const std::string& type);
  void writeAll();
  void log(const std::string& s) const { std::fprintf(stderr, "statedbd: %s\n", s.c_str()); }
  std::string who(const Client& c) const {
    return "pid " + std::to_string(c.cred.pid) + " uid " + std::to_string(c.cred.uid);
  }

  Options opt_;
  int listen_ = -1;
  int epoll_ = -1;
  int signals_ = -1;
  Statedb::internal::Index index_;
  std::map<std::string, Node> trees_;
  std::map<int, std::unique_ptr<Client>> clients_;
};

// Directories list what is mounted right below them: a new tree is entered
// in the directory of its parent path, and a new directory lists the trees
// already below it.
void Server::listInDir(const std::string& path, const std::string& type) {
  const auto slash = path.rfind('/');
  if (slash != std::string::npos) {
    auto parent = trees_.find(path.substr(0, slash));
    if (parent != trees_.end() && parent->second.type == "Orv::Dir") {
      Orv::ptr_cast<Orv::Dir>(parent->second.root)->entryIs(path.substr(slash + 1), type);
    }
  }
  if (type != "Orv::Dir") return;
  auto dir = Orv::ptr_cast<Orv::Dir>(trees_.at(path).root);
  const std::string prefix = path + "/";
  for (auto it = trees_.lower_bound(prefix); it != trees_.end() && it->first.rfind(prefix, 0) == 0;
       ++it) {
    const std::string rest = it->first.substr(prefix.size());
    if (rest.find('/') == std::string::npos) dir->entryIs(rest, it->second.type);
  }
}

bool Server::allowed(const ucred& c, const std::string& path, bool write) const {
  if (c.uid == ::geteuid()) return true;
  for (const Rule& r : opt_.rules) {
    if (path.rfind(r.prefix, 0) != 0) continue;
    if (write && !r.write) continue;
    if (r.who == Rule::anyone || (r.who == Rule::uid && c.uid == r.id) ||
        (r.who == Rule::gid && c.gid == r.id)) {
      return true;
    }
  }
  return false;
}

void Server::close(int fd, const std::string& why) {
  auto it = clients_.find(fd);
  if (it == clients_.end()) return;
  log("closing connection of " + who(*it->second) + ": " + why);
  it->second->session->writeReady();  // best effort: answers already queued, such as refusals
  ::epoll_ctl(epoll_, EPOLL_CTL_DEL, fd, nullptr);
  clients_.erase(it);  // detaches its adapters and closes the socket
}

void Server::accept() {
  for (;;) {
    const int fd = ::accept4(listen_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) return;
    auto c = std::make_unique<Client>();
    socklen_t len = sizeof c->cred;
    if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &c->cred, &len) != 0) {
      ::close(fd);
      continue;
    }
    c->session =
        std::make_unique<Session>(fd, index_, Statedb::internal::serverFirstIdentity, opt_.budget);
    epoll_event ev{};
    ev.events = EPOLLIN;
    ev.data.fd = fd;
    ::epoll_ctl(epoll_, EPOLL_CTL_ADD, fd, &ev);
    clients_[fd] = std::move(c);
  }
}

void Server::mount(Client& c, In& in) {
  const std::uint32_t id = in.readU32();
  const std::string path = in.readString();
  const std::string type = in.readString();
  const std::string flags = in.readString();
  if (id == 0 || id > Statedb::internal::maxMountId)
    in.fail("mount id " + std::to_string(id) + " out of range");
  // The filter, when the client sent one: a flag and the names.
  bool filtering = false;
  std::vector<std::string> names;
  if (!in.atEnd()) {
    filtering = in.readBool();
    const std::uint32_t n = in.readU32();
    for (std::uint32_t i = 0; i < n; ++i) names.push_back(in.readString());
  }
  auto refuse = [&](const std::string& why) {
    log("refused mount of " + path + " by " + who(c) + ": " + why);
    Out body;
    body.writeU32(id);
    body.writeString(why);
    c.session->control(Statedb::internal::msgMountFailed, body);
  };
  std::uint32_t bits;
  try {
    bits = Statedb::handleFlags(flags);
  } catch (const Orv::RangeException& e) {
    return refuse(e.what());
  }
  const bool write = (bits & Statedb::writableFlag) != 0;
  if (path.empty()) return refuse("empty path");
  if (filtering && write) return refuse("mount filter on a writable mount");
  if (c.mounts.count(id) != 0) return refuse("mount id " + std::to_string(id) + " in use");
  if (!allowed(c.cred, path, write)) {
    return refuse("permission denied: uid " + std::to_string(c.cred.uid) + " gid " +
                  std::to_string(c.cred.gid) + " may not mount " + path +
                  (write ? " writable" : " read-only"));
  }
  auto it = trees_.find(path);
  if (it == trees_.end()) {
    const Orv::TypeDesc* t = Orv::typeNode(type);
    if (t == nullptr || t->namedIs == nullptr) return refuse("unknown type name " + type);
    Node n{t->namedIs(path), type};
    index_.emplace(n.root->fullName(), n.root);
    it = trees_.emplace(path, std::move(n)).first;
    listInDir(path, type);
  } else if (it->second.type != type) {
    return refuse("path " + path + " holds a " + it->second.type + ", not a " + type);
  }
  c.mounts[id] = path;
  Ptr<Sa> sa = c.session->attach(*it->second.root, id,
                                 write ? Sa::Flags(Sa::remoteWriteAllowed) : Sa::Flags());
  if (filtering && type != "Orv::Dir") {
    auto& f = c.filters[id];
    f = std::make_unique<NameFilter>(it->second.root->fwkType(), names);
    sa->memberFilterIs(f.get());
  }
  if (opt_.verbose) log("mount " + path + " (" + flags + ") by " + who(c));
  // A reader gets the whole tree first; a writer is the source and sends
  // its own.
  if (!write) sa->serializeAll();
  Out body;
  body.writeU32(id);
  c.session->control(Statedb::internal::msgMounted, body);
}

void Server::onFrame(Client& c, std::uint8_t type, In& in) {
  switch (type) {
    case Statedb::internal::msgMount:
      mount(c, in);
      return;
    case Statedb::internal::msgEntries:
      c.session->applyEntries(in, [&](const std::string& why) {
        log("value from " + who(c) + " out of range, stored: " + why);
      });
      return;
    default:
      in.fail("frame type " + std::to_string(type) + " is not for a server");
  }
}

void Server::serve(int fd) {
  auto it = clients_.find(fd);
  if (it == clients_.end()) return;
  Client& c = *it->second;
  std::string why;
  try {
    if (!c.session->readReady([&](std::uint8_t t, In& in) { onFrame(c, t, in); }, why)) {
      return close(fd, why);
    }
  } catch (const Orv::Exception& e) {
    return close(fd, e.what());
  }
}

void Server::writeAll() {
  std::vector<int> broken;
  for (auto& [fd, c] : clients_) {
    if (!c->session->wantsWrite() && !c->pollingOut) continue;
    if (!c->session->writeReady()) {
      broken.push_back(fd);
      continue;
    }
    const bool want = c->session->wantsWrite();
    if (want != c->pollingOut) {
      epoll_event ev{};
      ev.events = EPOLLIN | (want ? EPOLLOUT : 0u);
      ev.data.fd = fd;
      ::epoll_ctl(epoll_, EPOLL_CTL_MOD, fd, &ev);
      c->pollingOut = want;
    }
  }
  for (int fd : broken) close(fd, "send failed");
}

int Server::run() {
  sigset_t mask;
  sigemptyset(&mask);
  sigaddset(&mask, SIGTERM);
  sigaddset(&mask, SIGINT);
  sigprocmask(SIG_BLOCK, &mask, nullptr);
  signals_ = ::signalfd(-1, &mask, SFD_CLOEXEC);
  std::signal(SIGPIPE, SIG_IGN);

  const std::string dir = opt_.socket.substr(0, opt_.socket.rfind('/'));
  if (!dir.empty() && dir != opt_.socket) ::mkdir(dir.c_str(), 0755);
  listen_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  if (opt_.socket.size() >= sizeof addr.sun_path) {
    log("socket path too long: " + opt_.socket);
    return 1;
  }
  std::memcpy(addr.sun_path, opt_.socket.data(), opt_.socket.size());
  ::unlink(opt_.socket.c_str());
  // Owner-only from the start: no moment when others could connect.
  const mode_t old = ::umask(0177);
  const int b = ::bind(listen_, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
  ::umask(old);
  if (b != 0 || ::listen(listen_, 128) != 0) {
    log("cannot listen on " + opt_.socket + ": " + std::strerror(errno));
    return 1;
  }
  // Anyone a rule admits must be able to connect; the rules themselves are
  // checked per mount against the peer's credentials.
  if (!opt_.rules.empty()) ::chmod(opt_.socket.c_str(), 0666);

  epoll_ = ::epoll_create1(EPOLL_CLOEXEC);
  epoll_event ev{};
  ev.events = EPOLLIN;
  ev.data.fd = listen_;
  ::epoll_ctl(epoll_, EPOLL_CTL_ADD, listen_, &ev);
  ev.data.fd = signals_;
  ::epoll_ctl(epoll_, EPOLL_CTL_ADD, signals_, &ev);
  std::printf("ready %s\n", opt_.socket.c_str());
  std::fflush(stdout);

  bool running = true;
  while (running) {
    epoll_event events[64];
    const int n = ::epoll_wait(epoll_, events, 64, -1);
    if (n < 0 && errno != EINTR) break;
    for (int i = 0; i < n; ++i) {
      const int fd = events[i].data.fd;
      if (fd == signals_) {
        running = false;
      } else if (fd == listen_) {
        accept();
      } else if (events[i].events & (EPOLLIN | EPOLLHUP | EPOLLERR)) {
        serve(fd);
      }
    }
    writeAll();
  }
  clients_.clear();
  trees_.clear();
  index_.clear();
  ::close(listen_);
  ::unlink(opt_.socket.c_str());
  ::close(epoll_);
  ::close(signals_);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  Options o;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    auto value = [&]() -> std::string {
      if (i + 1 >= argc) {
        std::fprintf(stderr, "statedbd: %s needs a value\n%s", a.c_str(), usage);
        std::exit(2);
      }
      return argv[++i];
    };
    if (a == "--help" || a == "-h") {
      std::fputs(usage, stdout);
      return 0;
    } else if (a == "--socket") {
      o.socket = value();
    } else if (a == "--allow") {
      Rule r;
      const std::string text = value();
      if (!parseRule(text, r)) {
        std::fprintf(stderr, "statedbd: bad --allow rule '%s'\n%s", text.c_str(), usage);
        return 2;
      }
      o.rules.push_back(r);
    } else if (a == "--budget") {
      o.budget = std::strtoull(value().c_str(), nullptr, 10);
    } else if (a == "--verbose") {
      o.verbose = true;
    } else {
      std::fprintf(stderr, "statedbd: unknown option %s\n%s", a.c_str(), usage);
      return 2;
    }
  }
  return Server(std::move(o)).run();
}
