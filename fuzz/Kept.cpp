// A target without libFuzzer: each file of the folders that are named is an input. Exit status: 0 the program went on
// after all of them, 2 there was none; what is found wrong ends it otherwise.

#include "Target.h"
#include "support/TempDir.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::vector<std::filesystem::path> FilesIn(const std::filesystem::path& folder)
{
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path());
        }
    }
    std::ranges::sort(files); // so that a failure comes again
    return files;
}

void Run(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    const std::string contents{std::istreambuf_iterator<char>(file), {}};
    if (!file.is_open() || file.bad()) {
        throw std::runtime_error("cannot read " + path.string());
    }
    // Said before it is tried: the last line names the input that ended the program.
    std::printf("%s\n", path.filename().c_str());
    std::fflush(stdout);
    // A copy of just its size: a sanitizer sees a byte that is read behind its end.
    const std::vector<std::uint8_t> input(contents.begin(), contents.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

} // namespace

int main(int argc, char** argv)
try {
    support::TempDir::RemoveAllWhenKilled();
    LLVMFuzzerInitialize(&argc, &argv);
    int count = 0;
    for (const char* folder : std::span(argv, static_cast<std::size_t>(argc)).subspan(1)) {
        for (const std::filesystem::path& file : FilesIn(folder)) {
            Run(file);
            ++count;
        }
    }
    std::printf("%d inputs\n", count);
    return count > 0 ? 0 : 2;
} catch (const std::exception& exception) {
    std::fprintf(stderr, "%s\n", exception.what());
    return 2;
}
