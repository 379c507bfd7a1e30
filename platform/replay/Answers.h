#pragma once

#include "recorder/Functions.h"
#include "recorder/Pool.h"
#include "recorder/Reader.h"

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the platform's functions do in a replay: they answer as they did in the recording.
namespace replay {

/// What a callback is handed: it lives as long as the call.
class Lent
{
public:
    /// \return none for no text
    char* Text(std::optional<std::string_view> text);

    template <typename Record>
    Record& Room()
    {
        const auto room = std::make_shared<Record>();
        m_records.push_back(room);
        return *room;
    }

private:
    std::deque<std::string> m_texts;
    std::vector<std::shared_ptr<void>> m_records;
};

/// Tells the service what it was told while it made this call, and gives the answer.
/// \return what the function gave, to be read in the order of the schema
recorder::Reader AnswerOf(recorder::Function function);

char* TakeText(recorder::Reader& reader, Lent& texts);
/// A text that the service frees; none where there was none.
char* GiveText(recorder::Reader& reader);
/// A text that the service does not free, until the next.
char* LendText(recorder::Reader& reader);

/// Something to point to, which is not looked into; null where there was nothing.
void* Something(recorder::Reader& reader);

template <typename Pointer>
Pointer TakePresence(recorder::Reader& reader)
{
    return static_cast<Pointer>(Something(reader));
}

template <typename Output, typename Value>
void Give(Output* output, Value value)
{
    if (output != nullptr) {
        *output = value;
    }
}

/// Calls the service for a callback of the platform's, with the arguments of the record.
/// \param reader behind "since"
/// \return whether it is one of the platform's
bool CallGenerated(recorder::Callback type, recorder::Reader& reader, recorder::Anything function, void* userData,
                   Lent& texts);
/// The same for those of the loop and of the bus.
bool CallOther(recorder::Callback type, recorder::Reader& reader, recorder::Anything function, void* userData,
               Lent& texts);

} // namespace replay
