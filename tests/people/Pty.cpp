#include "people/Pty.h"

#include "support/MainLoop.h"

#include <fcntl.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <initializer_list>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace people_test {

Pty::Pty() : m_near(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK))
{
    std::array<char, 128> name{};
    if (m_near < 0 || ::grantpt(m_near) != 0 || ::unlockpt(m_near) != 0 ||
        ::ptsname_r(m_near, name.data(), name.size()) != 0) {
        throw std::system_error(errno, std::generic_category(), "no terminal");
    }
    m_name = name.data();
    m_far = ::open(m_name.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (m_far < 0) {
        throw std::system_error(errno, std::generic_category(), "no terminal");
    }
    struct termios settings = {};
    ::tcgetattr(m_far, &settings);
    settings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    ::tcsetattr(m_far, TCSANOW, &settings);
}

Pty::~Pty()
{
    HangsUp();
}

std::string Pty::Redirection() const
{
    return "<'" + m_name + "' >'" + m_name + "' 2>&1";
}

void Pty::Types(const std::string& text) const
{
    if (::write(m_near, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::runtime_error("nobody can type");
    }
}

void Pty::HangsUp()
{
    for (int* end : {&m_far, &m_near}) {
        if (*end >= 0) {
            ::close(std::exchange(*end, -1));
        }
    }
}

bool Pty::Shows(const std::string& text)
{
    return support::IterateUntil([&] { return Screen().find(text) != std::string::npos; });
}

const std::string& Pty::Screen()
{
    std::array<char, 4096> piece{};
    for (ssize_t length = ::read(m_near, piece.data(), piece.size()); length > 0;
         length = ::read(m_near, piece.data(), piece.size())) {
        m_screen.append(piece.data(), static_cast<std::size_t>(length));
    }
    return m_screen;
}

} // namespace people_test
