#pragma once

#include "settings/Store.h"
#include "settings/Value.h"
#include "sim/SettingWatches.h"

#include <settings/Vconf.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

class Television;

/// The settings of the television: a real store in its folder, which the service uses through the platform's
/// functions, and a second door to the same store that writes and reads as another process would.
class Settings
{
public:
    explicit Settings(Television& tv);

    // As another process.
    void Writes(const char* key, bool value);
    void Writes(const char* key, int value);
    void Writes(const char* key, const char* value);
    void Writes(const char* key, const std::string& value)
    {
        Writes(key, value.c_str());
    }
    void Removes(const char* key);
    [[nodiscard]] std::optional<bool> Bool(const char* key);
    [[nodiscard]] std::optional<int> Int(const char* key);
    [[nodiscard]] std::optional<std::string> Text(const char* key);
    [[nodiscard]] bool Has(const char* key);

    void Open();
    void Close();
    /// Forgets the watches of the service.
    void ForgetsWatches();
    settings::Vconf& OfService()
    {
        return *m_service;
    }

    SettingWatches watches; ///< of the service

private:
    void Write(const char* key, const settings::Value& value);

    Television& m_tv;
    std::unique_ptr<settings::Vconf> m_service;
    std::unique_ptr<settings::Store> m_other;
};

} // namespace sim
