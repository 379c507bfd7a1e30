#include "sim/Settings.h"

#include "settings/Locations.h"
#include "settings/Vconf.h"
#include "sim/Disk.h"
#include "sim/Misuse.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/Text.h"

namespace sim {

Settings::Settings(Television& tv) : watches(tv.tape), m_tv(tv) {}

void Settings::Open()
{
    const settings::Folders folders = settings::FoldersUnder(m_tv.Root());
    m_service = std::make_unique<settings::Vconf>(folders);
    m_other = std::make_unique<settings::Store>(folders);
}

void Settings::Close()
{
    m_service.reset();
    m_other.reset();
}

void Settings::ForgetsWatches()
{
    m_service = std::make_unique<settings::Vconf>(settings::FoldersUnder(m_tv.Root()));
    watches.EndAll();
}

void Settings::Write(const char* key, const settings::Value& value)
{
    const Tape::Scope happens = m_tv.tape.Note(std::string("somebody writes ") + key + " = " + ToText(value));
    if (m_other->Set(key, value) != settings::kOk) {
        if (m_tv.disk.IsFull()) {
            m_tv.tape.Note(std::string("the disk is full, and nobody is told of ") + key);
            return;
        }
        Misuse(std::string("the setting cannot be written: ") + key);
    }
    watches.Wrote(key, ToText(value));
}

void Settings::Writes(const char* key, bool value)
{
    Write(key, value);
}

void Settings::Writes(const char* key, int value)
{
    Write(key, value);
}

void Settings::Writes(const char* key, const char* value)
{
    Write(key, std::string(value));
}

void Settings::Removes(const char* key)
{
    m_other->Unset(key);
}

std::optional<bool> Settings::Bool(const char* key)
{
    bool value = false;
    return m_other->GetBool(key, &value) == settings::kOk ? std::optional(value) : std::nullopt;
}

std::optional<int> Settings::Int(const char* key)
{
    int value = 0;
    return m_other->GetInt(key, &value) == settings::kOk ? std::optional(value) : std::nullopt;
}

std::optional<std::string> Settings::Text(const char* key)
{
    std::string value;
    return m_other->GetString(key, &value) == settings::kOk ? std::optional(value) : std::nullopt;
}

bool Settings::Has(const char* key)
{
    settings::Value value;
    return m_other->Get(key, &value) == settings::kOk;
}

} // namespace sim
