#pragma once

#include <optional>
#include <string_view>

namespace page {

struct File
{
    std::string_view type; ///< for the header Content-Type
    std::string_view bytes;
};

/// A file of the page, which is part of this program.
/// \param path as the browser asks for it: "/" or "/style.css"
std::optional<File> FindFile(std::string_view path);

} // namespace page
