#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <vector>

namespace soak {

/// Takes away of a list what something that is wrong does not need: first halves, then quarters, in the end one by one.
/// Of what is left, nothing can be taken away by itself, unless the tries ran out.
/// \param items for which \p isWrong was said
/// \param isWrong whether it still is with these; says the same each time
/// \param tries how often it may be asked
template <typename Item>
std::vector<Item> Shrink(std::vector<Item> items, const std::function<bool(const std::vector<Item>&)>& isWrong,
                         std::size_t tries)
{
    std::size_t size = std::max<std::size_t>(items.size() / 2, 1);
    bool isSmaller = true;
    while (tries > 0 && !items.empty() && (size > 1 || isSmaller)) {
        size = isSmaller ? size : size / 2;
        isSmaller = false;
        for (std::size_t begin = 0; begin < items.size() && tries > 0; --tries) {
            const std::size_t end = std::min(begin + size, items.size());
            std::vector<Item> fewer(items.begin(), items.begin() + static_cast<std::ptrdiff_t>(begin));
            fewer.insert(fewer.end(), items.begin() + static_cast<std::ptrdiff_t>(end), items.end());
            if (isWrong(fewer)) {
                items = std::move(fewer);
                isSmaller = true;
            } else {
                begin = end;
            }
        }
    }
    return items;
}

} // namespace soak
