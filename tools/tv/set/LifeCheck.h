#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace set {

/// The service's own, however it ends.
inline constexpr int kStoppedStatus = 1;

/// The longest for which the service may keep its loop from looking around: twelve calls to siblings that hang, each of
/// which is waited for 5 seconds. In 242,048 random events it was two thirds of that.
inline constexpr std::chrono::milliseconds kLongestStall{60'000};

class Stage;

/// What holds of each life of the service, whatever happens in it: it ends in order, leaves no descriptor open in its
/// process, and stands still no longer than the calls that it waits for.
class LifeCheck
{
public:
    /// The service is about to start, and all that its process needs beside it is there.
    explicit LifeCheck(Stage& stage);

    /// The loop has stood still since this was asked last: for the waits of one turn, and not longer. To be asked while
    /// the clock stands.
    /// \return what is wrong, empty for nothing
    [[nodiscard]] std::string ObjectionToStall();

    /// The service has ended.
    /// \param status its own
    [[nodiscard]] std::vector<std::string> ObjectionsToEnd(int status) const;

    [[nodiscard]] std::chrono::milliseconds LongestStall() const
    {
        return m_longestStall;
    }

private:
    [[nodiscard]] int DescriptorsBesideSiblings() const;

    const Stage& m_stage;
    int m_descriptors = 0;
    std::chrono::milliseconds m_longestStall{0};
};

} // namespace set
