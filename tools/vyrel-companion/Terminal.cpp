#include "vyrel-companion/Terminal.h"

#include "people/Text.h"
#include "vyrel-companion/Notices.h"

#include <glib-unix.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <utility>

namespace companion {

namespace {

constexpr std::size_t kLongestAnswer = 256;

} // namespace

Terminal::Terminal() : m_isThere(::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1)
{
    if (m_isThere) {
        m_source.reset(g_unix_fd_source_new(STDIN_FILENO, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR)));
        GUnixFDSourceFunc function = OnReadable;
        g_source_set_callback(m_source.get(), G_SOURCE_FUNC(function), this, nullptr);
        g_source_attach(m_source.get(), nullptr);
    }
}

Terminal::~Terminal() = default;

void Terminal::Ask(std::uint64_t id, const std::string& question, Answered answered)
{
    m_questions.push_back({id, question, std::move(answered)});
    if (m_questions.size() == 1) {
        Show();
    }
}

void Terminal::Withdraw(std::uint64_t id, const std::string& why)
{
    const auto question = std::ranges::find(m_questions, id, &Question::id);
    if (question == m_questions.end()) {
        return;
    }
    const bool wasShown = question == m_questions.begin();
    m_questions.erase(question);
    if (wasShown) {
        std::fputs("\n", stdout);
        Tell(why);
        Show();
    }
}

void Terminal::WithdrawAll(const std::string& why)
{
    while (!m_questions.empty()) {
        Withdraw(m_questions.back().id, why);
    }
}

void Terminal::Show() const
{
    if (!m_questions.empty()) {
        std::fputs((people::Printable(m_questions.front().text) + " ").c_str(), stdout);
        std::fflush(stdout);
    }
}

gboolean Terminal::OnReadable(gint, GIOCondition, gpointer self)
{
    return static_cast<Terminal*>(self)->Read() ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

bool Terminal::Read()
{
    std::array<char, kLongestAnswer> piece{};
    const ssize_t length = ::read(STDIN_FILENO, piece.data(), piece.size());
    if (length < 0 && (errno == EINTR || errno == EAGAIN)) {
        return true;
    }
    if (length <= 0) {
        Goes();
        return false;
    }
    m_line.append(piece.data(), static_cast<std::size_t>(length));
    for (std::size_t end = m_line.find('\n'); end != std::string::npos; end = m_line.find('\n')) {
        const std::string answer = m_line.substr(0, std::min(end, kLongestAnswer));
        m_line.erase(0, end + 1);
        if (!m_questions.empty()) {
            const Question question = std::move(m_questions.front());
            m_questions.pop_front();
            question.answered(answer);
            Show();
        }
    }
    m_line.resize(std::min(m_line.size(), kLongestAnswer));
    return true;
}

void Terminal::Goes()
{
    m_isThere = false;
    Complain("the terminal is gone: only known devices are let in from now on");
    for (const Question& question : std::exchange(m_questions, {})) {
        question.answered("");
    }
}

} // namespace companion
