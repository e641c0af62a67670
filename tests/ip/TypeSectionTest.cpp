// The library file lists the qualified name of every type it defines in its
// .orv.type section: NUL-terminated strings, each on a boundary set by its
// size, unit by unit in reverse registration order, gaps zero.
#include <elf.h>
#include <link.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include <ipmodel/Ip/Ip.h>

namespace {

// Types of the IPv4 unit (the source-interface unit shares the namespace).
bool inIpUnit(const std::string& n) {
  return n.rfind("Ip::", 0) == 0 && n.rfind("Ip::SourceIntf::", 0) != 0;
}

std::vector<char> readSection(const std::string& file, const char* name, std::uint64_t& addrAlign) {
  std::ifstream f(file, std::ios::binary);
  std::vector<char> data((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
  if (data.size() < sizeof(Elf64_Ehdr)) return {};
  const auto* eh = reinterpret_cast<const Elf64_Ehdr*>(data.data());
  const auto* sh = reinterpret_cast<const Elf64_Shdr*>(data.data() + eh->e_shoff);
  const char* names = data.data() + sh[eh->e_shstrndx].sh_offset;
  for (int i = 0; i < eh->e_shnum; ++i) {
    if (std::strcmp(names + sh[i].sh_name, name) == 0) {
      addrAlign = sh[i].sh_addralign;
      return std::vector<char>(data.begin() + static_cast<long>(sh[i].sh_offset),
                               data.begin() + static_cast<long>(sh[i].sh_offset + sh[i].sh_size));
    }
  }
  return {};
}

// The path of the loaded library file.
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

TEST(TypeSection, ListsEveryTypeAlignedByItsSize) {
  const std::string lib = libraryPath();
  ASSERT_FALSE(lib.empty());
  std::uint64_t align = 0;
  auto sec = readSection(lib, ".orv.type", align);
  ASSERT_FALSE(sec.empty()) << "no .orv.type section in " << lib;
  EXPECT_GE(align, 32u);

  std::vector<std::string> listed;
  std::size_t pos = 0;
  while (pos < sec.size()) {
    if (sec[pos] == 0) {
      ++pos;  // gap
      continue;
    }
    std::string s(&sec[pos]);
    std::size_t size = s.size() + 1;
    std::size_t boundary = size >= 32 ? 32 : (size >= 16 ? 16 : 8);
    EXPECT_EQ(pos % boundary, 0u) << s << " at offset " << pos;
    listed.push_back(s);
    pos += size;
  }

  // Every type registered by the library is listed once.
  std::set<std::string> registered;
  for (const auto* t : Orv::typeNodes()) registered.insert(t->name);
  std::set<std::string> listedSet(listed.begin(), listed.end());
  EXPECT_EQ(listedSet.size(), listed.size());
  for (const auto& n : registered) {
    if (n.rfind("Kitchen::", 0) == 0) continue;
    EXPECT_TRUE(listedSet.count(n)) << n << " registered but not listed";
  }

  // The IPv4 unit's names stand together, in reverse registration order.
  std::vector<std::string> ipListed, ipRegistered;
  for (const auto& n : listed) {
    if (inIpUnit(n)) ipListed.push_back(n);
  }
  for (const auto* t : Orv::typeNodes()) {
    if (inIpUnit(t->name)) ipRegistered.push_back(t->name);
  }
  std::reverse(ipRegistered.begin(), ipRegistered.end());
  EXPECT_EQ(ipListed, ipRegistered);
  EXPECT_EQ(ipListed.front(), "Ip::IpInputStatusDir");
}

}  // namespace
