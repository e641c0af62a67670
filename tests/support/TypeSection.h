// Reads the library file's .orv.type section: the qualified name of every
// type the library defines, NUL-terminated, each on a boundary set by its
// size.
#pragma once

#include <elf.h>
#include <link.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace typesection {

struct Entry {
  std::string name;
  std::size_t offset;  // from the start of the section
};

// The path of the loaded library file, or "" when it is not loaded.
inline std::string libraryPath() {
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

// The bytes of the section called name in a 64-bit ELF file (empty when
// absent), and the section's alignment.
inline std::vector<char> readSection(const std::string& file, const char* name,
                                     std::uint64_t& addrAlign) {
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

// The names in the section, in order, skipping the zero gaps.
inline std::vector<Entry> entries(const std::vector<char>& sec) {
  std::vector<Entry> out;
  for (std::size_t pos = 0; pos < sec.size();) {
    if (sec[pos] == 0) {
      ++pos;
      continue;
    }
    std::string s(&sec[pos]);
    out.push_back({s, pos});
    pos += s.size() + 1;
  }
  return out;
}

// The boundary a name of that length must start on.
inline std::size_t boundaryOf(const std::string& name) {
  const std::size_t size = name.size() + 1;
  return size >= 32 ? 32 : (size >= 16 ? 16 : 8);
}

}  // namespace typesection
