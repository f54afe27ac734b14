// The built file, loaded as a host loads it.

#include "BlackBoxHost.h"

#include <elf.h>
#include <gmock/gmock.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace blackbox {

namespace {

std::vector<char> Contents(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

template <typename T> T At(const std::vector<char>& file, std::size_t offset)
{
    T value{};
    std::memcpy(&value, file.data() + offset, sizeof(value));
    return value;
}

std::vector<Elf64_Shdr> Sections(const std::vector<char>& file)
{
    const auto head = At<Elf64_Ehdr>(file, 0);
    std::vector<Elf64_Shdr> sections;
    for (std::size_t i = 0; i < head.e_shnum; ++i) {
        sections.push_back(At<Elf64_Shdr>(file, head.e_shoff + i * head.e_shentsize));
    }
    return sections;
}

// The symbols that the file gives to others.
std::vector<std::string> ExportedSymbols(const std::vector<char>& file)
{
    std::vector<std::string> names;
    const std::vector<Elf64_Shdr> sections = Sections(file);
    for (const Elf64_Shdr& section : sections) {
        if (section.sh_type != SHT_DYNSYM) {
            continue;
        }
        const Elf64_Shdr& strings = sections.at(section.sh_link);
        for (std::size_t at = 0; at < section.sh_size; at += sizeof(Elf64_Sym)) {
            const auto symbol = At<Elf64_Sym>(file, section.sh_offset + at);
            if (symbol.st_shndx != SHN_UNDEF && ELF64_ST_BIND(symbol.st_info) != STB_LOCAL) {
                names.emplace_back(file.data() + strings.sh_offset + symbol.st_name);
            }
        }
    }
    return names;
}

} // namespace

TEST(Bundle, ExportsItsEntryPointAndNothingElse)
{
    EXPECT_THAT(
        ExportedSymbols(Contents(BLACKBOX_BUNDLE_BINARY)), testing::ElementsAre("EntryPoint"));
}

TEST(Bundle, IsLaidOutAsABundle)
{
    const std::filesystem::path contents
        = std::filesystem::path(BLACKBOX_BUNDLE_BINARY).parent_path().parent_path();

    EXPECT_EQ(contents.filename(), "Contents");
    EXPECT_TRUE(std::filesystem::is_directory(contents / "Resources"));
    const std::vector<char> plist = Contents(contents / "Info.plist");
    EXPECT_THAT(std::string(plist.begin(), plist.end()),
        testing::HasSubstr("<key>CFBundleIdentifier</key>\n"
                           "    <string>Korva.MIDIMachineControl</string>"));
}

TEST(Bundle, CanBeUnloaded)
{
    Bundle bundle;
    ASSERT_TRUE(bundle.IsLoaded());

    EXPECT_TRUE(bundle.Unload());
}

} // namespace blackbox
