// Client side of the state database: mount entity trees that the server
// (statedbd) holds at paths, and keep them in step with every other process
// that mounts them.
//
// A mount names a path, the type of the entity at that path and flag
// letters:
//   r  the local copy is a read-only proxy: it follows the server, and a
//      local write raises Orv::ReadOnlyProxyException;
//   w  local changes go to the server, which applies them through the
//      entity's setters and passes them on to every other mounter of the
//      path; a writer's tree is the source of the path: on (re)connection
//      the writer publishes it whole and the server drops what it no longer
//      holds;
//   i  the entities below come with it: on a directory (Orv::Dir), every
//      path it lists is mounted too, with the directory's other flags, as
//      entries appear. Members that an entity's collections create always
//      travel with their owner.
// A mount without w is a read-only mount. A MountFilter narrows what a
// read-only mount takes to the members it names (see there).
//
// References between trees (an IPv4 status's l3Status names a layer-3
// record) resolve by the referenced entity's full name. A reference whose
// target is not here yet (its path is mounted later, or its entry comes
// after) reads null meanwhile, and what follows it reads unset (an IPv4
// status's vrf() is empty); it is set once the target arrives, with the
// notification of a stored pointer or collection member (a constructor
// parameter such as l3Status has no handler, so nothing is notified).
//
// The library has no thread of its own: a MountGroup exposes its socket
// (fd(), with wantsWrite() telling whether to wait for POLLOUT as well) and
// processReady() does the work that is ready, on the caller's thread.
// waitFor() is a blocking helper for simple programs and tests. When the
// server goes away the group reconnects (each processReady() or wait tries
// again), writers publish their trees again and readers get a full
// resynchronisation.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <ipmodel/Orv/Entity.h>
#include <ipmodel/Orv/Export.h>
#include <ipmodel/Orv/Ptr.h>

namespace Statedb {

// The socket statedbd listens on unless told otherwise.
inline constexpr const char* defaultSocketPath = "/run/statedb/statedb.sock";

// Flag letters as bits.
enum HandleFlag : std::uint32_t { readOnlyFlag = 1, writableFlag = 2, includeFlag = 4 };
// The bits of a flag string ("r", "w", "ri", ...); an unknown letter raises
// Orv::RangeException "unknown mount flag 'x'".
IPMODEL_API std::uint32_t handleFlags(const std::string& flags);

class IPMODEL_API Mount {
 public:
  Mount(std::string path, std::string typeName, std::string flags)
      : path_(std::move(path)), typeName_(std::move(typeName)), flags_(std::move(flags)) {}
  const std::string& path() const { return path_; }
  const std::string& typeName() const { return typeName_; }
  const std::string& flags() const { return flags_; }

 private:
  std::string path_;
  std::string typeName_;
  std::string flags_;
};

// Which members of a mount to take. MountFilter(false) takes everything.
//
// A filter of names (such as the interfaces an agent serves) takes, in each
// collection of the mounted entity that is keyed by a name (an interface
// identifier, a VRF name, a string), only the members whose key is one of
// the names; collections keyed by anything else come whole, and so does
// everything below a member taken. MountFilter(true) alone takes no named
// member at all. The server applies the filter: members left out never
// cross the socket, neither in the initial state nor in later changes.
// A directory mounted with i passes its filter on to the mounts it adds
// (its own list of entries is not filtered). A writable mount publishes its
// whole tree, so doMount refuses a filtering filter on one.
class IPMODEL_API MountFilter {
 public:
  explicit MountFilter(bool filtering) : filtering_(filtering) {}
  explicit MountFilter(std::vector<std::string> names);
  bool filtering() const { return filtering_; }
  // The names taken, sorted, without repeats.
  const std::vector<std::string>& names() const { return names_; }
  bool takes(const std::string& name) const;

 private:
  bool filtering_;
  std::vector<std::string> names_;
};

enum class MountState : std::uint8_t { pending, complete, failed };

class IPMODEL_API MountGroup : public Orv::PtrInterface {
 public:
  // Connects to the server at socketPath. A server that is not there yet is
  // not an error: the group connects when it can.
  static Orv::Ptr<MountGroup> mountGroupIs(const std::string& socketPath = defaultSocketPath);
  ~MountGroup() override;

  // Adds a mount; its local entity exists at once (entity(path)) and fills
  // as the server answers. Raises Orv::RangeException for an unknown type
  // name or flag letter, a path mounted already, or a filtering filter on a
  // writable mount.
  void doMount(const Mount& m, const MountFilter& filter = MountFilter(false),
               std::uint32_t flags = 0);

  // The local entity of a mount (null for a path not mounted).
  Orv::Ptr<Orv::Entity> entity(const std::string& path) const;
  MountState state(const std::string& path) const;
  // Why a mount failed, in the server's words ("" unless failed).
  std::string error(const std::string& path) const;
  // True when every mount is complete or failed.
  bool settled() const;
  // Every mount in the order it was made.
  std::vector<Mount> mounts() const;
  // Called once per mount when it completes or fails.
  void onMountIs(std::function<void(const std::string& path, MountState)> f);

  // The socket to poll (-1 while disconnected), and whether to poll it for
  // writing too.
  int fd() const;
  bool wantsWrite() const;
  bool connected() const;
  // Bytes through the current connection's socket, framing included.
  std::uint64_t bytesSent() const;
  std::uint64_t bytesReceived() const;
  // Reads, applies, writes and reconnects as far as possible without
  // blocking.
  void processReady();
  // Runs processReady() as the socket becomes ready until done() is true or
  // timeoutMs passes; returns done(). While disconnected it retries the
  // connection every few milliseconds.
  bool waitFor(const std::function<bool()>& done, int timeoutMs);
  // Waits until every local change has been handed to the kernel.
  bool flush(int timeoutMs) {
    return waitFor([this] { return !wantsWrite(); }, timeoutMs);
  }

 private:
  struct Impl;
  explicit MountGroup(const std::string& socketPath);
  std::unique_ptr<Impl> impl_;
};

}  // namespace Statedb
