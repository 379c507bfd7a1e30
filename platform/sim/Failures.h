#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

/// Which platform functions fail at present. A function that fails returns its code, touches no output and does
/// nothing else; one that gives a pointer gives null.
class Failures
{
public:
    static constexpr int kForever = -1;

    /// Aborts for a name that is no platform function's.
    void Set(std::string_view function, int code, int times = kForever);
    void Remove(std::string_view function);
    /// The code with which this call is to fail, if it is; counts the call.
    std::optional<int> Take(std::string_view function);

private:
    struct Failure
    {
        int code;
        int times;
    };
    std::map<std::string, Failure, std::less<>> m_failures;
};

} // namespace sim
