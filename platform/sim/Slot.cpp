#include "sim/Slot.h"

#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/Text.h"

#include <string>
#include <utility>
#include <vector>

namespace sim {

Tape::Scope SlotBase::Begins(std::vector<std::string> arguments) const
{
    std::string text = CallText(m_name, arguments);
    return Television::Current().tape.Begin(
        {.kind = Kind::Event, .text = std::move(text), .function = m_name, .arguments = std::move(arguments)});
}

} // namespace sim
