// The settings store over a file that somebody damaged, or that is none of its own.

#include "Target.h"
#include "settings/Locations.h"
#include "settings/Store.h"
#include "settings/Value.h"
#include "support/TempDir.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace {

/// The folders of a store whose persistent file is the input.
class Place
{
public:
    Place() : m_folders{(m_dir.Path() / "persistent").string(), (m_dir.Path() / "memory").string()} {}

    const settings::Folders& With(const std::uint8_t* data, std::size_t size)
    {
        std::filesystem::remove_all(m_folders.persistent);
        std::filesystem::create_directory(m_folders.persistent);
        std::ofstream file(std::filesystem::path(m_folders.persistent) / settings::kPersistentFile, std::ios::binary);
        file.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
        file.flush();
        fuzz::Expect(file.good(), "the input can be put into a file");
        return m_folders;
    }

private:
    support::TempDir m_dir{"vyrel-fuzz"};
    settings::Folders m_folders;
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static Place place;
    settings::Store store(place.With(data, size));
    std::vector<settings::Entry> entries;
    store.List("", &entries);
    for (const settings::Entry& entry : entries) {
        settings::Value value;
        int number = 0;
        std::string text;
        store.Get(entry.key.c_str(), &value);
        store.GetInt(entry.key.c_str(), &number);
        store.GetString(entry.key.c_str(), &text);
    }
    const settings::Value written = 5;
    settings::Value read;
    if (store.Set("db/vyrel/last_oob", written) == settings::kOk) {
        fuzz::Expect(store.Get("db/vyrel/last_oob", &read) == settings::kOk && read == written,
                     "what is written can be read");
        store.Unset("db/vyrel/last_oob");
    }
    return 0;
}
