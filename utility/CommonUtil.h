#pragma once

#include <string>
#include <vector>

namespace Util {

/// Small helpers without state.
class CommonUtil
{
public:
    /// True for six two-digit hexadecimal fields, upper or lower case, with colons between them.
    static bool IsValidAddress(const std::string& address);
    /// \param digits 1 to 8 hexadecimal digits, with or without a leading "0x" that counts among the 8 characters
    /// \throws std::out_of_range for more than 8 characters, std::invalid_argument for anything but a number
    static unsigned int convertToUIntFromHexString(const std::string& digits);
    static std::string RemoveColon(const std::string& text);
    static std::string ToCapital(const std::string& text);
    static bool StartsWith(const std::string& text, const std::string& prefix);
    /// Appends the non-empty pieces of \p text between characters of \p delimiters to \p pieces.
    static void StrSplit(const std::string& text, const std::string& delimiters, std::vector<std::string>* pieces);
    /// \param path one of the service's fixed paths
    static bool CheckExist(const std::string& path);
    /// True on a set whose software was built for release.
    static bool IsReleaseImage();
    /// Removes a source from the main loop and clears its id; an id of 0 is none.
    static void RemoveTimer(unsigned int* id);
    /// The name of a Bluetooth result code, "None" for one that has no name. Static storage.
    static const char* ERR_STR(int code);

    template <typename Number>
    static std::string ToString(Number value) = delete;
};

template <>
inline std::string CommonUtil::ToString<int>(int value)
{
    return std::to_string(value);
}

} // namespace Util
