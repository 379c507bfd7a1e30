#include "linux/Root.h"

#include "support/TempDir.h"

#include <platform_root.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

/// The sound library makes folders where whoever runs the test has none: they shall go with the test's.
std::string BecomeHome(const support::TempDir& folder)
{
    const std::string path = folder.Path().string();
    if (::setenv("HOME", path.c_str(), 1) != 0 || ::setenv("XDG_RUNTIME_DIR", path.c_str(), 1) != 0) {
        throw std::runtime_error("no memory for the environment");
    }
    return path;
}

const std::string& Root()
{
    static const support::TempDir folder;
    static const std::string path = BecomeHome(folder);
    return path;
}

} // namespace

const char* platform_root(void)
{
    return Root().c_str();
}

namespace linux_test {

std::filesystem::path InRoot(const std::string& path)
{
    return Root() + path;
}

void WriteFile(const std::string& path, const std::string& text)
{
    std::filesystem::create_directories(InRoot(path).parent_path());
    std::ofstream file(InRoot(path), std::ios::binary);
    file << text;
    file.flush();
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::string ReadFile(const std::string& path)
{
    std::ifstream file(InRoot(path), std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::vector<std::string> LinesOf(const std::string& path)
{
    std::istringstream text(ReadFile(path));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

} // namespace linux_test
