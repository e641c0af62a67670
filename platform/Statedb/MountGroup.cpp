// Client side of the state database.
#include <ipmodel/Statedb/Statedb.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <algorithm>
#include <map>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/Type.h>
#include <ipmodel/Statedb/Dir.h>
#include <ipmodel/Statedb/internal/Session.h>

namespace Statedb {

using internal::Session;
using Orv::Entity;
using Orv::Ptr;
using Orv::NboAttrLog::In;
using Orv::NboAttrLog::Out;
using Sa = Entity::OrvNboAttrLogSa;

namespace {
constexpr std::size_t clientBudget = 4u << 20;
// While disconnected, how long a wait sleeps between connection attempts.
constexpr int reconnectMs = 5;
}  // namespace

MountFilter::MountFilter(std::vector<std::string> names)
    : filtering_(true), names_(std::move(names)) {
  std::sort(names_.begin(), names_.end());
  names_.erase(std::unique(names_.begin(), names_.end()), names_.end());
}

bool MountFilter::takes(const std::string& name) const {
  return !filtering_ || std::binary_search(names_.begin(), names_.end(), name);
}

std::uint32_t handleFlags(const std::string& flags) {
  std::uint32_t r = 0;
  for (char c : flags) {
    switch (c) {
      case 'r':
        r |= readOnlyFlag;
        break;
      case 'w':
        r |= writableFlag;
        break;
      case 'i':
        r |= includeFlag;
        break;
      default:
        throw Orv::RangeException(std::string("unknown mount flag '") + c + "'");
    }
  }
  if ((r & readOnlyFlag) && (r & writableFlag)) {
    throw Orv::RangeException("mount flags 'r' and 'w' exclude each other");
  }
  return r;
}

struct MountGroup::Impl {
  // Follows a directory mounted with "i": every entry it lists is mounted
  // too, with the directory's other flags.
  class DirFollower : public Orv::Dir::NotifieeConst {
   public:
    DirFollower(MountGroup::Impl& g, std::string path, std::string flags, MountFilter filter)
        : g_(g), path_(std::move(path)), flags_(std::move(flags)), filter_(std::move(filter)) {}
    void onEntry(const Orv::String& name) override { follow(name); }
    void onEntryorvImmediate() override {
      for (auto it = notifier()->entry().begin(); it != notifier()->entry().end(); ++it)
        follow(it.key());
    }

   private:
    void follow(const Orv::String& name) {
      const std::string type = notifier()->entry(name);
      const std::string child = path_ + "/" + name;
      if (type.empty() || g_.mounts.count(child) != 0 || Orv::typeNode(type) == nullptr) return;
      g_.mount(Mount(child, type, flags_), filter_, handleFlags(flags_));
    }
    MountGroup::Impl& g_;
    std::string path_;
    std::string flags_;
    MountFilter filter_;
  };

  struct Entry {
    Mount mount;
    MountFilter filter;
    std::uint32_t id;
    std::uint32_t flags;
    Ptr<Entity> entity;
    MountState state = MountState::pending;
    std::string error;
    std::shared_ptr<DirFollower> follower;
  };

  std::string socketPath;
  internal::Index index;
  std::unique_ptr<Session> session;
  std::map<std::string, Entry> mounts;
  std::map<std::uint32_t, std::string> pathById;
  std::uint32_t nextMountId = 1;
  std::function<void(const std::string&, MountState)> onMount;

  bool writable(const Entry& e) const { return (e.flags & writableFlag) != 0; }

  bool connect() {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return false;
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    if (socketPath.size() >= sizeof addr.sun_path) {
      ::close(fd);
      return false;
    }
    std::memcpy(addr.sun_path, socketPath.data(), socketPath.size());
    if (::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
      ::close(fd);
      return false;
    }
    session = std::make_unique<Session>(fd, index, internal::clientFirstIdentity, clientBudget);
    // In the order they were made: a later mount may refer to an earlier one.
    for (auto& [id, path] : pathById) send(mounts.at(path));
    return true;
  }

  // Asks for the mount. A reader's copy follows the server from here; a
  // writer publishes its tree whole once the server accepted the mount.
  void send(Entry& e) {
    e.state = MountState::pending;
    e.error.clear();
    if (!writable(e)) session->attach(*e.entity, e.id, Sa::remoteWriteAllowed | Sa::readOnly);
    Out body;
    body.writeU32(e.id);
    body.writeString(e.mount.path());
    body.writeString(e.mount.typeName());
    body.writeString(e.mount.flags());
    body.writeU8(e.filter.filtering() ? 1 : 0);
    body.writeU32(static_cast<std::uint32_t>(e.filter.names().size()));
    for (const std::string& n : e.filter.names()) body.writeString(n);
    session->control(internal::msgMount, body);
  }

  void mount(const Mount& m, const MountFilter& filter, std::uint32_t flags) {
    if (mounts.count(m.path()) != 0)
      throw Orv::RangeException("path " + m.path() + " is mounted already");
    if (filter.filtering() && (flags & writableFlag) != 0)
      throw Orv::RangeException("mount filter on writable mount " + m.path() + " not allowed");
    const Orv::TypeDesc* t = Orv::typeNode(m.typeName());
    if (t == nullptr || t->namedIs == nullptr) {
      throw Orv::RangeException("unknown type name " + m.typeName() + " for mount " + m.path());
    }
    const std::uint32_t id = nextMountId++;
    Entry e{m, filter, id, flags, t->namedIs(m.path())};
    // A reader's copy refuses local writes from the start, connected or
    // not; entries from the server still apply.
    if ((flags & writableFlag) == 0) e.entity->readOnlyProxyIs(true);
    index.emplace(e.entity->fullName(), e.entity);
    auto& entry = mounts.emplace(m.path(), std::move(e)).first->second;
    pathById[id] = m.path();
    if (session) send(entry);
    if ((flags & includeFlag) != 0 && m.typeName() == "Orv::Dir") {
      std::string childFlags;
      for (char c : m.flags()) {
        if (c != 'i') childFlags += c;
      }
      entry.follower = std::make_shared<DirFollower>(*this, m.path(), childFlags, filter);
      entry.follower->notifierIs(Orv::ptr_cast<const Orv::Dir>(entry.entity));
    }
  }

  void disconnect() {
    session.reset();
    for (auto& [path, e] : mounts) {
      if (e.state == MountState::complete) e.state = MountState::pending;
    }
  }

  void settle(Entry& e, MountState s, std::string why) {
    e.state = s;
    e.error = std::move(why);
    if (onMount) onMount(e.mount.path(), s);
  }

  void onFrame(std::uint8_t type, In& in) {
    switch (type) {
      case internal::msgEntries:
        session->applyEntries(in, [](const std::string&) {
          // The server only passes on values it stored itself.
        });
        return;
      case internal::msgMounted:
      case internal::msgMountFailed: {
        const std::uint32_t id = in.readU32();
        auto p = pathById.find(id);
        if (p == pathById.end()) in.fail("answer for unknown mount " + std::to_string(id));
        Entry& e = mounts.at(p->second);
        if (type == internal::msgMounted) {
          if (writable(e)) session->attach(*e.entity, e.id, Sa::remoteWriteAllowed)->serializeAll();
          settle(e, MountState::complete, "");
        } else {
          settle(e, MountState::failed, in.readString());
        }
        return;
      }
      default:
        in.fail("frame type " + std::to_string(type) + " is not for a client");
    }
  }

  void process() {
    if (!session && !connect()) return;
    std::string why;
    bool open;
    try {
      open = session->readReady([this](std::uint8_t t, In& in) { onFrame(t, in); }, why);
    } catch (const Orv::Exception&) {
      open = false;  // the server sent something we cannot use: start over
    }
    if (open) open = session->writeReady();
    if (!open) disconnect();
  }
};

MountGroup::MountGroup(const std::string& socketPath) : impl_(std::make_unique<Impl>()) {
  impl_->socketPath = socketPath;
  impl_->connect();
}

MountGroup::~MountGroup() {
  for (auto& [path, e] : impl_->mounts) e.follower.reset();
  impl_->session.reset();
  impl_->index.clear();
}

Ptr<MountGroup> MountGroup::mountGroupIs(const std::string& socketPath) {
  return Ptr<MountGroup>(new MountGroup(socketPath));
}

void MountGroup::doMount(const Mount& m, const MountFilter& filter, std::uint32_t flags) {
  const std::uint32_t letters = handleFlags(m.flags());
  impl_->mount(m, filter, flags == 0 ? letters : flags);
}

Ptr<Entity> MountGroup::entity(const std::string& path) const {
  auto it = impl_->mounts.find(path);
  return it == impl_->mounts.end() ? Ptr<Entity>() : it->second.entity;
}

MountState MountGroup::state(const std::string& path) const {
  auto it = impl_->mounts.find(path);
  return it == impl_->mounts.end() ? MountState::failed : it->second.state;
}

std::string MountGroup::error(const std::string& path) const {
  auto it = impl_->mounts.find(path);
  return it == impl_->mounts.end() ? "path " + path + " is not mounted" : it->second.error;
}

bool MountGroup::settled() const {
  for (auto& [path, e] : impl_->mounts) {
    if (e.state == MountState::pending) return false;
  }
  return true;
}

std::vector<Mount> MountGroup::mounts() const {
  std::vector<Mount> r;
  for (auto& [id, path] : impl_->pathById) r.push_back(impl_->mounts.at(path).mount);
  return r;
}

void MountGroup::onMountIs(std::function<void(const std::string&, MountState)> f) {
  impl_->onMount = std::move(f);
}

int MountGroup::fd() const { return impl_->session ? impl_->session->fd() : -1; }
bool MountGroup::wantsWrite() const { return impl_->session && impl_->session->wantsWrite(); }
bool MountGroup::connected() const { return impl_->session != nullptr; }
std::uint64_t MountGroup::bytesSent() const {
  return impl_->session ? impl_->session->bytesSent() : 0;
}
std::uint64_t MountGroup::bytesReceived() const {
  return impl_->session ? impl_->session->bytesReceived() : 0;
}

void MountGroup::processReady() { impl_->process(); }

bool MountGroup::waitFor(const std::function<bool()>& done, int timeoutMs) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::milliseconds(timeoutMs);
  for (;;) {
    processReady();
    if (done()) return true;
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    if (left <= 0) return false;
    if (!impl_->session) {
      ::poll(nullptr, 0, static_cast<int>(std::min<long long>(left, reconnectMs)));
      continue;
    }
    pollfd p{fd(), static_cast<short>(POLLIN | (wantsWrite() ? POLLOUT : 0)), 0};
    ::poll(&p, 1, static_cast<int>(left));
  }
}

}  // namespace Statedb
