#include "replay/Answers.h"

#include <cstdlib>
#include <cstring>

namespace replay {

namespace {

/// A copy from malloc, as the platform gives texts.
char* Copy(std::string_view text)
{
    auto* copy = static_cast<char*>(std::malloc(text.size() + 1));
    if (copy != nullptr) {
        std::memcpy(copy, text.data(), text.size());
        copy[text.size()] = '\0';
    }
    return copy;
}

} // namespace

char* Lent::Text(std::optional<std::string_view> text)
{
    return text ? m_texts.emplace_back(*text).data() : nullptr;
}

char* TakeText(recorder::Reader& reader, Lent& texts)
{
    return texts.Text(reader.Text());
}

char* GiveText(recorder::Reader& reader)
{
    const auto text = reader.Text();
    return text ? Copy(*text) : nullptr;
}

char* LendText(recorder::Reader& reader)
{
    static std::string text;
    text = reader.Text().value_or("");
    return text.data();
}

void* Something(recorder::Reader& reader)
{
    static char something = 0;
    return reader.Unsigned() != 0 ? &something : nullptr;
}

} // namespace replay
