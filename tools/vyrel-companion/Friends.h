#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace companion {

/// The devices that were let in, in a file that outlives everything but a reset. It is read anew for each question, so
/// that the command can change it under a companion that runs.
class Friends
{
public:
    /// \param root in front of the path, "" for none
    explicit Friends(const std::string& root) : m_path(root + "/var/lib/vyrel-companion/known.conf") {}

    /// \param address in capital letters
    [[nodiscard]] bool Know(const std::string& address) const;
    /// Address and name, in the order of the file. Nothing, and a complaint, when it cannot be read or makes no sense.
    [[nodiscard]] std::optional<std::vector<std::pair<std::string, std::string>>> List() const;

    // Each returns false, and says why, when it could not be written. A file that makes no sense is kept beside the new
    // one.

    /// \param name what it is called; empty keeps an earlier one
    bool Add(const std::string& address, const std::string& name);
    /// Without a complaint about one that is not there.
    bool Remove(const std::string& address);
    bool Clear();

private:
    bool Save(const std::string& text);

    std::string m_path;
};

} // namespace companion
