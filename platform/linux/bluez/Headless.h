#pragma once

#include <set>
#include <string>

namespace bluez {

class Stack;

/// The devices that may reach a box that sleeps, and the mode in which only they are served. The list is kept in the
/// settings.
class Headless
{
public:
    explicit Headless(Stack& stack) : m_stack(stack) {}
    Headless(const Headless&) = delete;
    Headless& operator=(const Headless&) = delete;

    int SetMode(bool on);
    int Register(const char* address);
    int Unregister(const char* address);
    std::set<std::string> Addresses();
    void Clear();

private:
    void Load();
    void Store() const;
    void Allow(const std::string& address, bool allowed) const;

    Stack& m_stack;
    bool m_isLoaded = false;
    std::set<std::string> m_addresses; ///< in capital letters
};

} // namespace bluez
