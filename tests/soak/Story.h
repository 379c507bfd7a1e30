#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace soak {

/// Lines of the language of the television on the desk that mean something only together.
using Passage = std::vector<std::string>;
/// What a set, its service and those around them live through.
using Story = std::vector<Passage>;

struct Wanted
{
    std::size_t passages = 200;
    bool isOneLife = false; ///< the service is stopped at the end only, and its bus stays
};

/// \return the story of this number, the same on each machine. Each story has its own leanings: what there is much of
/// in one is missing in another, so that the service gets into corners that a mixture of everything leads out of again.
///
/// Lines may ask for what cannot be, such as that a phone that nobody paired is unpaired: those are refused by the set.
Story TellStory(std::uint64_t number, const Wanted& wanted);

/// All lines, one after the other.
std::vector<std::string> LinesOf(const Story& story);

} // namespace soak
