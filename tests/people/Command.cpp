#include "people/Command.h"

#include "support/MainLoop.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>

namespace people_test {

namespace {

std::string TextOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

} // namespace

Command::Command(std::vector<std::string> words, const std::string& redirection)
{
    const std::string folder = m_folder.Path().string();
    words.insert(
        words.begin(),
        {"/bin/sh", "-c", "exec \"$0\" \"$@\" </dev/null >'" + folder + "/out' 2>'" + folder + "/err' " + redirection});
    m_child = support::Child::Spawn(std::move(words));
}

std::string Command::Output() const
{
    return TextOf(m_folder.Path() / "out");
}

std::string Command::Error() const
{
    return TextOf(m_folder.Path() / "err");
}

bool Command::Says(const std::string& text)
{
    return support::IterateUntil([&] { return (Output() + Error()).find(text) != std::string::npos; });
}

Outcome Command::WaitForEnd()
{
    support::IterateUntil([&] { return m_child.Poll() != support::StillRunning(); });
    const support::ProcessEnd end = m_child.Poll();
    return {end.how == support::ProcessEnd::How::Exited ? end.number : -1, Output(), Error()};
}

Outcome RunToEnd(std::vector<std::string> words, const std::string& redirection)
{
    return Command(std::move(words), redirection).WaitForEnd();
}

} // namespace people_test
