// Files that the keeper of a box writes, and the small ones that the platform leaves for its own next start.

#include "Input.h"
#include "Target.h"
#include "features/KeyFiles.h"
#include "linux/Root.h"
#include "power/StateFile.h"

#include <glib.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace {

void ReadFeatures(const std::string& text)
{
    linux_test::WriteFile("/etc/vyrel-lite/features.d/input.conf", text);
    const features::KeyFiles files;
    files.ForEach([&files](const char* group, const char* key, const char* value) {
        fuzz::Expect(g_utf8_validate(value, -1, nullptr) != FALSE, "a feature's value is UTF-8");
        bool truth = false;
        int number = 0;
        files.Bool(group, key, &truth);
        files.Int(group, key, &number);
        const std::string told = files.Text(group, key).value_or("");
        fuzz::Expect(g_utf8_validate(told.c_str(), -1, nullptr) != FALSE, "a feature's text is UTF-8");
        fuzz::Expect(files.PlatformText(key) != "", "an empty setting counts as none");
    });
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(fuzz::Input(data, size).Rest());
    ReadFeatures(text);
    linux_test::WriteFile("/run/vyrel-lite/power.state", text);
    power::StateFile::Load();
    linux_test::WriteFile("/var/lib/vyrel-lite/power.restart", text);
    power::RestartNote::Take();
    return 0;
}
