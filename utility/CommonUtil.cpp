#include "CommonUtil.h"

#include "DlogUtil.h"
#include "FixedPath.h"
#include "Guard.h"

#include <glib.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <stdexcept>

namespace Util {

namespace {

constexpr std::size_t kAddressLength = 17;
constexpr std::size_t kLongestHexNumber = 8;

struct ErrorName
{
    int code;
    const char* name;
};

// The first row of a code holds, so -115 is a time-out in every log.
constexpr std::array<ErrorName, 19> kErrorNames = {{
    {-125, "CANCELLED"},
    {-22, "INVALID_PARAMETER"},
    {-12, "OUT_OF_MEMORY"},
    {-16, "RESOURCE_BUSY"},
    {-1073741823, "TIMED_OUT"},
    {-115, "TIMED_OUT"},
    {-115, "NOW_IN_PROGRESS"},
    {-29359871, "NOT_INITIALIZED"},
    {-29359870, "NOT_ENABLED"},
    {-29359869, "ALREADY_DONE"},
    {-29359868, "OPERATION_FAILED"},
    {-29359867, "NOT_IN_PROGRESS"},
    {-29359866, "REMOTE_DEVICE_NOT_BONDED"},
    {-29359865, "AUTH_REJECTED"},
    {-29359864, "AUTH_FAILED"},
    {-29359863, "REMOTE_DEVICE_NOT_FOUND"},
    {-29359862, "SERVICE_SEARCH_FAILED"},
    {-29359861, "REMOTE_DEVICE_NOT_CONNECTED"},
    {0, "ERROR_NONE"},
}};

bool IsHexDigit(char character)
{
    return std::isxdigit(static_cast<unsigned char>(character)) != 0;
}

bool IsAddressCharacter(const std::string& address, std::size_t index)
{
    return index % 3 == 2 ? address[index] == ':' : IsHexDigit(address[index]);
}

} // namespace

bool CommonUtil::IsValidAddress(const std::string& address)
{
    if (address.size() != kAddressLength) {
        LOGE("size is not 17");
        return false;
    }
    for (std::size_t index = 0; index < address.size(); ++index) {
        if (!IsAddressCharacter(address, index)) {
            LOGE("Invalid format");
            return false;
        }
    }
    return true;
}

unsigned int CommonUtil::convertToUIntFromHexString(const std::string& digits)
{
    if (digits.size() > kLongestHexNumber) {
        throw std::out_of_range("hex string size is greater than 4 byte");
    }
    // std::stoul skips blanks, takes a sign and stops at the first other character; none of them is a digit.
    std::size_t used = 0;
    if (digits.empty() || !IsHexDigit(digits.front())) {
        throw std::invalid_argument("not a hexadecimal number");
    }
    const unsigned long value = std::stoul(digits, &used, 16);
    if (used != digits.size()) {
        throw std::invalid_argument("not a hexadecimal number");
    }
    return static_cast<unsigned int>(value);
}

std::string CommonUtil::RemoveColon(const std::string& text)
{
    std::string result(text);
    std::erase(result, ':');
    return result;
}

std::string CommonUtil::ToCapital(const std::string& text)
{
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char character) { return static_cast<char>(std::toupper(character)); });
    return result;
}

bool CommonUtil::StartsWith(const std::string& text, const std::string& prefix)
{
    return text.starts_with(prefix);
}

void CommonUtil::StrSplit(const std::string& text, const std::string& delimiters, std::vector<std::string>* pieces)
{
    LOGD("string : %s", text.c_str());
    RETURN_IF_NULL(pieces, "pieces is NULL");
    std::size_t begin = text.find_first_not_of(delimiters);
    while (begin != std::string::npos) {
        const std::size_t end = std::min(text.find_first_of(delimiters, begin), text.size());
        pieces->push_back(text.substr(begin, end - begin));
        begin = text.find_first_not_of(delimiters, end);
    }
}

bool CommonUtil::CheckExist(const std::string& path)
{
    if (::access(FixedPath(path).c_str(), F_OK) != 0) {
        LOGE("%s does not exist", path.c_str());
        return false;
    }
    return true;
}

bool CommonUtil::IsReleaseImage()
{
    return CheckExist("/etc/release");
}

void CommonUtil::RemoveTimer(unsigned int* id)
{
    API_TRACE();
    if (id == nullptr || *id == 0) {
        return;
    }
    g_source_remove(*id);
    *id = 0;
}

const char* CommonUtil::ERR_STR(int code)
{
    const auto* row = std::find_if(kErrorNames.begin(), kErrorNames.end(),
                                   [code](const ErrorName& candidate) { return candidate.code == code; });
    return row != kErrorNames.end() ? row->name : "None";
}

} // namespace Util
