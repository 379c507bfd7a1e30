#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace linux_test {

// The root of the box's fixed paths in this process: a fresh folder that goes with the process.

/// \param path absolute, as the product knows it
std::filesystem::path InRoot(const std::string& path);

/// Makes the folders that it lies in.
void WriteFile(const std::string& path, const std::string& text);

/// Empty for none.
std::string ReadFile(const std::string& path);

std::vector<std::string> LinesOf(const std::string& path);

} // namespace linux_test
