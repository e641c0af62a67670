// The IPv6 unit's entries in the library's .orv.type section: every type of
// the unit listed once, together, in reverse registration order, each name
// on the boundary its size sets.
#include <elf.h>
#include <link.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <ipmodel/Ip6/Ip6.h>

namespace {

struct Entry {
  std::string name;
  std::size_t offset;
};

std::vector<char> readSection(const std::string& file, const char* name) {
  std::ifstream f(file, std::ios::binary);
  std::vector<char> data((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
  if (data.size() < sizeof(Elf64_Ehdr)) return {};
  const auto* eh = reinterpret_cast<const Elf64_Ehdr*>(data.data());
  const auto* sh = reinterpret_cast<const Elf64_Shdr*>(data.data() + eh->e_shoff);
  const char* names = data.data() + sh[eh->e_shstrndx].sh_offset;
  for (int i = 0; i < eh->e_shnum; ++i) {
    if (std::strcmp(names + sh[i].sh_name, name) == 0) {
      return std::vector<char>(data.begin() + static_cast<long>(sh[i].sh_offset),
                               data.begin() + static_cast<long>(sh[i].sh_offset + sh[i].sh_size));
    }
  }
  return {};
}

std::string libraryPath() {
  std::string found;
  dl_iterate_phdr(
      [](dl_phdr_info* i, std::size_t, void* out) {
        std::string n = i->dlpi_name ? i->dlpi_name : "";
        if (n.find("libipmodel.so") != std::string::npos) {
          *static_cast<std::string*>(out) = n;
          return 1;
        }
        return 0;
      },
      &found);
  return found;
}

TEST(Ip6TypeSection, ListsTheUnitTogetherInReverseRegistrationOrder) {
  const std::string lib = libraryPath();
  ASSERT_FALSE(lib.empty());
  const auto sec = readSection(lib, ".orv.type");
  ASSERT_FALSE(sec.empty());

  std::vector<Entry> entries;
  for (std::size_t pos = 0; pos < sec.size();) {
    if (sec[pos] == 0) {
      ++pos;
      continue;
    }
    std::string s(&sec[pos]);
    entries.push_back({s, pos});
    pos += s.size() + 1;
  }
  // The unit's names form one run.
  std::vector<std::string> listed;
  std::size_t first = entries.size(), last = 0;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (entries[i].name.rfind("Ip6::", 0) != 0) continue;
    listed.push_back(entries[i].name);
    first = std::min(first, i);
    last = i;
    const std::size_t size = entries[i].name.size() + 1;
    const std::size_t boundary = size >= 32 ? 32 : (size >= 16 ? 16 : 8);
    EXPECT_EQ(entries[i].offset % boundary, 0u) << entries[i].name;
  }
  ASSERT_FALSE(listed.empty());
  EXPECT_EQ(last - first + 1, listed.size());

  std::vector<std::string> registered;
  for (const auto* t : Orv::typeNodes()) {
    if (std::string(t->name).rfind("Ip6::", 0) == 0) registered.push_back(t->name);
  }
  std::reverse(registered.begin(), registered.end());
  EXPECT_EQ(listed, registered);
  ASSERT_EQ(listed.size(), 14u);
  // 35 bytes with the NUL: on a 32-byte boundary; 13 bytes: on 8.
  EXPECT_EQ(listed.front(), "Ip6::MulticastGroupsForApplications");
  EXPECT_EQ(listed.back(), "Ip6::TristateBool");
}

}  // namespace
