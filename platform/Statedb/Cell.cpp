// The cell id of this process.
#include <ipmodel/Statedb/Cell.h>

#include <atomic>

namespace Cell {

namespace {
std::atomic<std::uint32_t> current{1};
}  // namespace

std::uint32_t cellId() { return current.load(std::memory_order_relaxed); }
void cellIdIs(std::uint32_t id) { current.store(id, std::memory_order_relaxed); }

}  // namespace Cell
