#pragma once

#include <stdexcept>

namespace language {

/// Why a line cannot be understood, in words for whoever wrote it, with a suggestion where there is one.
class Misunderstood : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

} // namespace language
