#include "vyrel-companion/Friends.h"

#include "bluez/Address.h"
#include "bus/Handles.h"
#include "features/KeyFilePtr.h"
#include "files/Replace.h"
#include "files/SmallFile.h"
#include "vyrel-companion/Notices.h"

#include <glib.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <optional>

namespace companion {

namespace {

constexpr std::size_t kMostBytes = 1 << 20;
constexpr const char* kNameKey = "name";

using Names = std::unique_ptr<char*, bus::ReleaseWith<g_strfreev>>;

/// A group for each device, whose name is the address. Nothing when the file cannot be read or makes no sense.
std::optional<features::KeyFilePtr> Load(const std::string& path)
{
    features::KeyFilePtr keys(g_key_file_new());
    const files::SmallFile file(path, kMostBytes);
    if (!file.Text()) {
        if (file.IsMissing()) {
            return keys;
        }
        Complain(path + " cannot be read: " + file.Trouble());
        return std::nullopt;
    }
    if (!file.Text()->empty() && g_key_file_load_from_data(keys.get(), file.Text()->data(), file.Text()->size(),
                                                           G_KEY_FILE_NONE, nullptr) == FALSE) {
        Complain(path + " makes no sense: nobody is known");
        return std::nullopt;
    }
    return keys;
}

std::string TextOf(GKeyFile* keys)
{
    gsize length = 0;
    const bus::TextPtr text(g_key_file_to_data(keys, &length, nullptr));
    return {text.get(), length};
}

} // namespace

bool Friends::Know(const std::string& address) const
{
    const auto keys = Load(m_path);
    return keys && g_key_file_has_group(keys->get(), address.c_str()) != FALSE;
}

std::optional<std::vector<std::pair<std::string, std::string>>> Friends::List() const
{
    const auto keys = Load(m_path);
    if (!keys) {
        return std::nullopt;
    }
    std::vector<std::pair<std::string, std::string>> list;
    const Names groups(g_key_file_get_groups(keys->get(), nullptr));
    for (char** group = groups.get(); *group != nullptr; ++group) {
        if (bluez::IsAddress(*group)) {
            const bus::TextPtr name(g_key_file_get_string(keys->get(), *group, kNameKey, nullptr));
            list.emplace_back(*group, name ? name.get() : "");
        }
    }
    return list;
}

bool Friends::Add(const std::string& address, const std::string& name)
{
    const auto keys = Load(m_path);
    const features::KeyFilePtr fresh(keys ? nullptr : g_key_file_new());
    GKeyFile* file = keys ? keys->get() : fresh.get();
    if (!name.empty() || g_key_file_has_group(file, address.c_str()) == FALSE) {
        g_key_file_set_string(file, address.c_str(), kNameKey, name.c_str());
    }
    if (!keys) {
        std::rename(m_path.c_str(), (m_path + ".bad").c_str());
    }
    return Save(TextOf(file));
}

bool Friends::Remove(const std::string& address)
{
    const auto keys = Load(m_path);
    if (!keys || g_key_file_remove_group(keys->get(), address.c_str(), nullptr) == FALSE) {
        return true;
    }
    return Save(TextOf(keys->get()));
}

bool Friends::Clear()
{
    const auto list = List();
    return (list && list->empty()) || Save("");
}

bool Friends::Save(const std::string& text)
{
    if (!files::Replace(m_path, text, files::Durability::Disk)) {
        Complain(m_path + " cannot be written: " + g_strerror(errno));
        return false;
    }
    return true;
}

} // namespace companion
