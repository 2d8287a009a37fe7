// Looks through everything that another process has mapped: memory_reader PROCESS. Each line of the
// standard input is a pattern in hexadecimal digits; each occurrence is a line of output, the
// number of the pattern, the address and the mapping. The last line is "searched" and the number of
// bytes. Mappings are read as they are, whether core dumps and other processes would have them or
// not.
#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

using Bytes = std::vector<unsigned char>;

struct Search
{
    std::vector<Bytes> patterns;
    std::array<std::vector<std::size_t>, 65536> byBeginning; ///< numbers of patterns
    std::size_t longest = 0;
    std::uint64_t searched = 0;

    void add(const std::string &digits)
    {
        Bytes pattern;
        for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
            pattern.push_back(
                static_cast<unsigned char>(std::stoul(digits.substr(i, 2), nullptr, 16)));
        if (pattern.size() < 2)
            return;
        byBeginning[static_cast<std::size_t>(pattern[0] << 8 | pattern[1])].push_back(
            patterns.size());
        longest = std::max(longest, pattern.size());
        patterns.push_back(std::move(pattern));
    }

    void look(const unsigned char *bytes, std::size_t length, std::size_t starts,
              std::uint64_t address, const std::string &mapping) const
    {
        for (std::size_t i = 0; i < starts && i + 1 < length; ++i) {
            for (const std::size_t number :
                 byBeginning[static_cast<std::size_t>(bytes[i] << 8 | bytes[i + 1])]) {
                const Bytes &pattern = patterns[number];
                if (pattern.size() <= length - i &&
                    std::memcmp(bytes + i, pattern.data(), pattern.size()) == 0)
                    std::printf("%zu %" PRIx64 " %s\n", number, address + i, mapping.c_str());
            }
        }
    }

    /// False when a page of it cannot be read.
    bool lookThrough(int memory, std::uint64_t begin, std::uint64_t end, const std::string &mapping)
    {
        constexpr std::size_t part = std::size_t{4} << 20U;
        std::vector<unsigned char> buffer(part + longest);
        for (std::uint64_t at = begin; at < end;) {
            const std::size_t starts = std::min<std::uint64_t>(part, end - at);
            const std::size_t length = std::min<std::uint64_t>(part + longest, end - at);
            if (::pread(memory, buffer.data(), length, static_cast<off_t>(at)) !=
                static_cast<ssize_t>(length))
                return false;
            look(buffer.data(), length, starts, at, mapping);
            searched += starts;
            at += starts;
        }
        return true;
    }
};

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2)
        return 2;
    const std::string folder = std::string("/proc/") + argv[1];
    static Search search;
    for (std::string line; std::getline(std::cin, line);)
        search.add(line);
    const int memory = ::open((folder + "/mem").c_str(), O_RDONLY | O_CLOEXEC);
    std::ifstream maps(folder + "/maps");
    if (memory < 0 || !maps || search.patterns.empty()) {
        std::perror("memory_reader");
        return 1;
    }
    for (std::string line; std::getline(maps, line);) {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
        char access[5] = "";
        int path = 0;
        if (std::sscanf(line.c_str(), "%" SCNx64 "-%" SCNx64 " %4s %*s %*s %*s %n", &begin, &end,
                        access, &path) < 3)
            return 1;
        const std::string mapping = line.substr(static_cast<std::size_t>(path));
        if (search.lookThrough(memory, begin, end, mapping))
            continue;
        // The kernel's own pages, and room that is set aside and has none.
        if (mapping == "[vvar]" || mapping == "[vvar_vclock]" || mapping == "[vsyscall]" ||
            std::strncmp(access, "---", 3) == 0)
            continue;
        std::fprintf(stderr, "memory_reader: cannot read %s\n", line.c_str());
        return 1;
    }
    std::printf("searched %" PRIu64 "\n", search.searched);
    return 0;
}
