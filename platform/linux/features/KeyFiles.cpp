#include "features/KeyFiles.h"

#include "Log.h"
#include "files/Root.h"
#include "files/SmallFile.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

namespace features {

namespace {

constexpr const char* kMakersFile = "/usr/share/vyrel-lite/features.conf";
constexpr const char* kKeepersFolder = "/etc/vyrel-lite/features.d";
constexpr std::string_view kEnding = ".conf";
constexpr const char* kPlatformGroup = "platform";

/// Many times what all features of a product take.
constexpr std::size_t kMostBytes = 1 << 20;

/// Characters of a bad line that the log shows.
constexpr std::size_t kShown = 80;

template <auto Free>
struct FreeWith
{
    template <typename Handle>
    void operator()(Handle* handle) const
    {
        Free(handle);
    }
};
using Texts = std::unique_ptr<char*, FreeWith<g_strfreev>>;
using OwnText = std::unique_ptr<char, FreeWith<g_free>>;
using Error = std::unique_ptr<GError, FreeWith<g_error_free>>;

/// False for a text with a NUL in it, too.
bool IsUtf8(const std::string& text)
{
    return g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE;
}

/// Whether a key file that consists of this alone is one.
bool IsKeyFile(const std::string& text)
{
    GKeyFile* file = g_key_file_new();
    const bool isOne = g_key_file_load_from_data(file, text.data(), text.size(), G_KEY_FILE_NONE, nullptr) != FALSE;
    g_key_file_free(file);
    return isOne;
}

/// What a log line may show of a text from outside: its beginning, printable.
std::string Shown(std::string_view text)
{
    std::string shown(text.substr(0, kShown));
    std::replace_if(
        shown.begin(), shown.end(), [](char character) { return character < ' ' || character > '~'; }, '?');
    return shown;
}

void ForEachLine(GKeyFile* file, const KeyFiles::Told& told)
{
    const Texts groups(g_key_file_get_groups(file, nullptr));
    for (char** group = groups.get(); *group != nullptr; ++group) {
        const Texts keys(g_key_file_get_keys(file, *group, nullptr, nullptr));
        for (char** key = keys.get(); key != nullptr && *key != nullptr; ++key) {
            const OwnText value(g_key_file_get_value(file, *group, *key, nullptr));
            told(*group, *key, value.get());
        }
    }
}

} // namespace

const KeyFiles& KeyFiles::OfBox()
{
    static const KeyFiles files;
    return files;
}

KeyFiles::KeyFiles() : m_all(g_key_file_new())
{
    ReadFile(kMakersFile);
    ReadFolder(kKeepersFolder);
}

void KeyFiles::ReadFolder(const std::string& folder)
{
    GDir* entries = g_dir_open(files::UnderRoot(folder).c_str(), 0, nullptr);
    if (entries == nullptr) {
        return; // a box needs none
    }
    std::vector<std::string> names;
    for (const char* name = g_dir_read_name(entries); name != nullptr; name = g_dir_read_name(entries)) {
        const std::string_view view(name);
        if (view.front() != '.' && view.ends_with(kEnding)) {
            names.emplace_back(view);
        }
    }
    g_dir_close(entries);
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        ReadFile(std::string(folder).append("/").append(name));
    }
}

void KeyFiles::ReadFile(const std::string& path)
{
    const files::SmallFile file(files::UnderRoot(path), kMostBytes);
    if (file.Text()) {
        TakeText(path, *file.Text());
    } else if (!file.IsMissing()) {
        PLATFORM_LOG(DLOG_ERROR, "%s is left out: %s", path.c_str(), file.Trouble());
    }
}

void KeyFiles::TakeText(const std::string& path, const std::string& text)
{
    const KeyFilePtr file(g_key_file_new());
    if (text.empty()) {
        return;
    }
    // The parser itself looks at the encoding only when a value is asked for.
    if (IsUtf8(text) &&
        g_key_file_load_from_data(file.get(), text.data(), text.size(), G_KEY_FILE_NONE, nullptr) != FALSE) {
        Take(file.get());
    } else {
        TakeLines(path, text);
    }
}

/// Something in the file is no line of a key file: finds out what, and takes the rest.
void KeyFiles::TakeLines(const std::string& path, const std::string& text)
{
    std::string good;
    bool isInGroup = false;
    std::size_t number = 0;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        const std::string line = text.substr(begin, end - begin);
        begin = end + 1;
        ++number;
        const bool isGroup = line.starts_with('[');
        const bool isGood = IsUtf8(line) && IsKeyFile(isGroup ? line + "\n" : "[x]\n" + line + "\n");
        const bool isText = !isGroup && !line.empty() && !line.starts_with('#');
        if (isGroup) {
            isInGroup = isGood; // what follows a group that is none belongs nowhere
        }
        if (!isGood || (isText && !isInGroup)) {
            PLATFORM_LOG(DLOG_ERROR, "%s line %zu is left out: \"%s\"", path.c_str(), number, Shown(line).c_str());
        } else {
            good.append(line).push_back('\n');
        }
    }
    const KeyFilePtr file(g_key_file_new());
    if (g_key_file_load_from_data(file.get(), good.data(), good.size(), G_KEY_FILE_NONE, nullptr) != FALSE) {
        Take(file.get());
    }
}

void KeyFiles::Take(GKeyFile* file)
{
    ForEachLine(file, [this](const char* group, const char* key, const char* value) {
        g_key_file_set_value(m_all.get(), group, key, value);
    });
}

void KeyFiles::ForEach(const Told& told) const
{
    ForEachLine(m_all.get(), told);
}

KeyFiles::Found KeyFiles::Judge(GError* error, const char* group, const char* key)
{
    const Error owned(error);
    if (!owned) {
        return Found::Yes;
    }
    if (!g_error_matches(error, G_KEY_FILE_ERROR, G_KEY_FILE_ERROR_INVALID_VALUE)) {
        return Found::No;
    }
    PLATFORM_LOG(DLOG_ERROR, "[%s] %s: %s", Shown(group).c_str(), Shown(key).c_str(), Shown(error->message).c_str());
    return Found::WrongType;
}

KeyFiles::Found KeyFiles::Bool(const char* group, const char* key, bool* value) const
{
    GError* error = nullptr;
    const bool stated = g_key_file_get_boolean(m_all.get(), group, key, &error) != FALSE;
    const Found found = Judge(error, group, key);
    if (found == Found::Yes) {
        *value = stated;
    }
    return found;
}

KeyFiles::Found KeyFiles::Int(const char* group, const char* key, int* value) const
{
    GError* error = nullptr;
    const int stated = g_key_file_get_integer(m_all.get(), group, key, &error);
    const Found found = Judge(error, group, key);
    if (found == Found::Yes) {
        *value = stated;
    }
    return found;
}

std::optional<std::string> KeyFiles::Text(const char* group, const char* key) const
{
    GError* error = nullptr;
    const OwnText stated(g_key_file_get_string(m_all.get(), group, key, &error));
    if (Judge(error, group, key) != Found::Yes) {
        return std::nullopt;
    }
    return std::string(stated.get());
}

std::optional<std::string> KeyFiles::PlatformText(const char* key) const
{
    std::optional<std::string> text = Text(kPlatformGroup, key);
    return text && !text->empty() ? text : std::nullopt;
}

} // namespace features
