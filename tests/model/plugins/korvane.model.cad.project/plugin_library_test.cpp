// The plugin as a host gets it: a loaded library. None of its code is linked here.

#include <cstring>
#include <elf.h>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <boost/dll/library_info.hpp>
#include <boost/dll/shared_library.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/app/service.h"
#include "tests/model/plugins/korvane.model.cad.project/plugin_source.h"

namespace korvane::test {

namespace {

const boost::dll::shared_library& library() {
  static const boost::dll::shared_library loaded(KORVANE_PLUGIN_FILE);
  return loaded;
}

}  // namespace

std::shared_ptr<krv::app::IService> make_plugin() {
  return library().get<const krv::app::ServiceFactory>("cad_project_manager")();
}

namespace {

using ::testing::ElementsAre;

/// The headers of a 64-bit ELF file, and what they point to.
class ElfFile {
 public:
  explicit ElfFile(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    bytes_.assign(std::istreambuf_iterator<char>(stream), {});
    header_ = at<Elf64_Ehdr>(0);
    if (std::memcmp(header_.e_ident, ELFMAG, SELFMAG) != 0) throw std::runtime_error("no ELF");
  }

  std::vector<Elf64_Phdr> segments(Elf64_Word type) const {
    std::vector<Elf64_Phdr> found;
    for (std::size_t i = 0; i < header_.e_phnum; ++i) {
      const auto segment = at<Elf64_Phdr>(header_.e_phoff + i * header_.e_phentsize);
      if (segment.p_type == type) found.push_back(segment);
    }
    return found;
  }

  std::vector<Elf64_Shdr> sections(const std::string& name) const {
    std::vector<Elf64_Shdr> found;
    const Elf64_Shdr names = section(header_.e_shstrndx);
    for (std::size_t i = 0; i < header_.e_shnum; ++i) {
      if (name == &bytes_.at(names.sh_offset + section(i).sh_name)) found.push_back(section(i));
    }
    return found;
  }

  std::vector<std::string> defined_dynamic_symbols() const {
    std::vector<std::string> found;
    const Elf64_Shdr table = sections(".dynsym").at(0);
    const Elf64_Shdr names = section(table.sh_link);
    for (Elf64_Off at_byte = 0; at_byte < table.sh_size; at_byte += table.sh_entsize) {
      const auto symbol = at<Elf64_Sym>(table.sh_offset + at_byte);
      if (symbol.st_shndx == SHN_UNDEF) continue;
      found.emplace_back(&bytes_.at(names.sh_offset + symbol.st_name));
    }
    return found;
  }

 private:
  template <class T>
  T at(std::size_t offset) const {
    T value;
    if (offset + sizeof(T) > bytes_.size()) throw std::runtime_error("ELF file cut short");
    std::memcpy(&value, &bytes_[offset], sizeof(T));
    return value;
  }
  Elf64_Shdr section(std::size_t index) const {
    return at<Elf64_Shdr>(header_.e_shoff + index * header_.e_shentsize);
  }

  std::vector<char> bytes_;
  Elf64_Ehdr header_{};
};

TEST(PluginLibrary, ExportsTheRecordAndNothingElse) {
  EXPECT_THAT(ElfFile(KORVANE_PLUGIN_FILE).defined_dynamic_symbols(),
              ElementsAre("cad_project_manager"));
}

TEST(PluginLibrary, ShowsTheRecordInItsSectionWithoutBeingLoaded) {
  EXPECT_THAT(boost::dll::library_info(KORVANE_PLUGIN_FILE).symbols(krv::app::kPluginSection),
              ElementsAre("cad_project_manager"));
}

TEST(PluginLibrary, HoldsOnePointerInTheSectionOfTheRecord) {
  const auto sections = ElfFile(KORVANE_PLUGIN_FILE).sections("modsvc");
  ASSERT_EQ(sections.size(), 1U);
  EXPECT_EQ(sections[0].sh_type, static_cast<Elf64_Word>(SHT_PROGBITS));
  EXPECT_EQ(sections[0].sh_size, 8U);
}

TEST(PluginLibrary, HasTheRecordReadOnlyOnceItIsLoaded) {
  const ElfFile file(KORVANE_PLUGIN_FILE);
  const auto record = file.sections("modsvc").at(0);
  const auto sealed = file.segments(PT_GNU_RELRO);
  ASSERT_EQ(sealed.size(), 1U);
  EXPECT_GE(record.sh_addr, sealed[0].p_vaddr);
  EXPECT_LE(record.sh_addr + record.sh_size, sealed[0].p_vaddr + sealed[0].p_memsz);
}

TEST(PluginLibrary, HasTheNameThatHostsLookFor) {
  EXPECT_EQ(boost::dll::fs::path(KORVANE_PLUGIN_FILE).stem().string(), "korvane.model.cad.Project");
}

}  // namespace

}  // namespace korvane::test
