#pragma once

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace linux_test {

/// The rules of a bus policy for those of whom it says nothing else, made to hold for everybody, since a test cannot be
/// two users.
/// \param more further rules
inline std::string RulesForEverybodyElse(const std::string& path, const std::string& more = {})
{
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    const std::string policy = text.str();
    const std::string beginning = "<policy context=\"default\">";
    const std::string ending = "</policy>";
    const std::size_t begin = policy.find(beginning);
    const std::size_t end = policy.find(ending, begin);
    if (begin == std::string::npos || end == std::string::npos) {
        throw std::runtime_error("the policy has no rules for everybody else");
    }
    return "<policy context=\"mandatory\">" + policy.substr(begin + beginning.size(), end - begin - beginning.size()) +
           more + ending;
}

} // namespace linux_test
