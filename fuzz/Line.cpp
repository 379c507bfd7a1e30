// What can be said to the television: a line.

#include "tv/language/Line.h"

#include "Target.h"
#include "tv/language/Misunderstood.h"
#include "tv/language/Words.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace {

/// A word that is written down is read back as it was.
void HoldsWhenWritten(const std::string& text)
{
    for (const std::string& written : {language::AsWord(text), language::AsQuoted(text)}) {
        const auto words = language::WordsOf(written);
        fuzz::Expect(words.size() == 1 && words.front().text == text, "a word is read as it was written");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        for (const language::Word& word : language::WordsOf(text)) {
            HoldsWhenWritten(word.text);
            language::About(word.text);
        }
        if (!language::IsRemark(text)) {
            const language::Line line = language::Parse(text);
            fuzz::Expect(line.command != nullptr, "a line that is understood is one of the table");
        }
    } catch (const language::Misunderstood&) {
        // It is said what could stand there instead.
    }
    language::Completions(text);
    return 0;
}
