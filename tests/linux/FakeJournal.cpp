#include "linux/FakeJournal.h"

#include "linux/Root.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace linux_test {

namespace {

constexpr const char* kPath = "/run/systemd/journal/socket";

std::string ReadDescriptor(int descriptor)
{
    std::string text;
    std::array<char, 4096> piece = {};
    ssize_t length = 0;
    while ((length = ::pread(descriptor, piece.data(), piece.size(), static_cast<off_t>(text.size()))) > 0) {
        text.append(piece.data(), static_cast<std::size_t>(length));
    }
    return text;
}

/// Name, line feed, eight bytes of length, value, line feed; or name=value, line feed.
FakeJournal::Entry Parse(const std::string& text)
{
    FakeJournal::Entry entry;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find_first_of("=\n", at);
        if (end == std::string::npos) {
            throw std::runtime_error("a field without an end");
        }
        const std::string name = text.substr(at, end - at);
        if (text[end] == '=') {
            const std::size_t stop = text.find('\n', end);
            entry[name] = text.substr(end + 1, stop - end - 1);
            at = stop + 1;
            continue;
        }
        std::uint64_t length = 0;
        for (std::size_t index = 0; index < 8; ++index) {
            length |= static_cast<std::uint64_t>(static_cast<unsigned char>(text.at(end + 1 + index))) << (8 * index);
        }
        entry[name] = text.substr(end + 9, length);
        if (text.at(end + 9 + length) != '\n') {
            throw std::runtime_error("a value without its line feed");
        }
        at = end + 10 + length;
    }
    return entry;
}

} // namespace

FakeJournal::FakeJournal()
{
    ComesBack();
}

FakeJournal::~FakeJournal()
{
    Goes();
}

void FakeJournal::ComesBack()
{
    std::filesystem::create_directories(InRoot(kPath).parent_path());
    m_socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, InRoot(kPath).c_str(), sizeof(address.sun_path) - 1);
    if (m_socket < 0 || ::bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        throw std::runtime_error("no socket for the journal");
    }
}

void FakeJournal::Goes()
{
    if (m_socket >= 0) {
        ::close(m_socket);
        ::unlink(InRoot(kPath).c_str());
        m_socket = -1;
    }
}

std::vector<FakeJournal::Entry> FakeJournal::Entries()
{
    std::vector<Entry> entries;
    while (true) {
        std::string text(1 << 20, '\0');
        alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control = {};
        iovec piece = {text.data(), text.size()};
        msghdr message = {};
        message.msg_iov = &piece;
        message.msg_iovlen = 1;
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        const ssize_t length = ::recvmsg(m_socket, &message, MSG_CMSG_CLOEXEC);
        if (length < 0) {
            return entries;
        }
        text.resize(static_cast<std::size_t>(length));
        if (const cmsghdr* header = CMSG_FIRSTHDR(&message)) {
            int file = -1;
            std::memcpy(&file, CMSG_DATA(header), sizeof(file));
            text = ReadDescriptor(file);
            ::close(file);
        }
        entries.push_back(Parse(text));
    }
}

} // namespace linux_test
