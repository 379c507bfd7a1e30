#include "vyrel-companion/Rules.h"

#include "bus/Handles.h"
#include "features/KeyFilePtr.h"
#include "files/SmallFile.h"
#include "vyrel-companion/Notices.h"

#include <glib.h>

#include <cstddef>
#include <utility>

namespace companion {

namespace {

constexpr std::size_t kLongestRules = 65536;
constexpr std::size_t kLongestPin = 16;
constexpr const char* kGroup = "pairing";

/// The text of a key; nothing when it is missing or no text.
std::optional<std::string> TextOf(GKeyFile* file, const char* key)
{
    const bus::TextPtr text(g_key_file_get_string(file, kGroup, key, nullptr));
    return text ? std::optional<std::string>(text.get()) : std::nullopt;
}

} // namespace

std::optional<Rule> RuleNamed(std::string_view word)
{
    constexpr std::pair<std::string_view, Rule> kWords[] = {
        {"ask", Rule::Ask}, {"known-only", Rule::KnownOnly}, {"never", Rule::Never}};
    for (const auto& [name, rule] : kWords) {
        if (name == word) {
            return rule;
        }
    }
    return std::nullopt;
}

Rules ReadRules(const std::string& path)
{
    Rules rules;
    const files::SmallFile file(path, kLongestRules);
    if (!file.Text() && file.IsMissing()) {
        return rules;
    }
    const features::KeyFilePtr keys(g_key_file_new());
    const bool isKeyFile =
        file.Text() &&
        (file.Text()->empty() || g_key_file_load_from_data(keys.get(), file.Text()->data(), file.Text()->size(),
                                                           G_KEY_FILE_NONE, nullptr) != FALSE);
    if (!isKeyFile) {
        Complain(path + (file.Text() ? " is no key file" : std::string(" cannot be read: ") + file.Trouble()) +
                 ": only known devices are let in");
        rules.rule = Rule::KnownOnly;
        return rules;
    }
    if (g_key_file_has_key(keys.get(), kGroup, "rule", nullptr) != FALSE) {
        const std::optional<std::string> word = TextOf(keys.get(), "rule");
        const std::optional<Rule> rule = RuleNamed(word.value_or(""));
        if (!rule) {
            Complain(path + ": the rule \"" + word.value_or("") +
                     "\" is none of ask, known-only and never: only known devices are let in");
        }
        rules.rule = rule.value_or(Rule::KnownOnly);
    }
    if (g_key_file_has_key(keys.get(), kGroup, "pin", nullptr) != FALSE) {
        const std::string pin = TextOf(keys.get(), "pin").value_or("");
        if (pin.empty() || pin.size() > kLongestPin) {
            Complain(path + ": the PIN \"" + pin + "\" has not 1 to 16 bytes: " + rules.pin + " it is");
        } else {
            rules.pin = pin;
        }
    }
    return rules;
}

} // namespace companion
