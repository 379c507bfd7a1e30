#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace replay {

/// How it came to a record: a line for each cause, from an input from outside on, and the latest line of the log.
/// \param records of a life from its begin, \param index of the record, or their number
std::string Chain(const std::vector<std::vector<std::byte>>& records, std::size_t index);

} // namespace replay
