#include "log/Journal.h"

#include "files/Root.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace journal {

namespace {

constexpr std::string_view kSocketPath = "/run/systemd/journal/socket";

/// Name, line feed, length as eight bytes, value, line feed: the form in which a value may hold anything.
constexpr std::size_t kPiecesOfField = 5;

using Length = std::array<unsigned char, 8>;

Length LittleEndian(std::uint64_t number)
{
    Length bytes = {};
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(number & 0xFFU);
        number >>= 8U;
    }
    return bytes;
}

iovec Piece(const void* data, std::size_t length)
{
    return {const_cast<void*>(data), length}; // the kernel only reads it
}

/// False when the path does not fit, which only a test's root could bring about.
bool SetAddress(sockaddr_un& address)
{
    const std::string path = files::UnderRoot(kSocketPath);
    if (path.size() >= sizeof(address.sun_path)) {
        return false;
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return true;
}

int OpenSocket()
{
    const int descriptor = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor >= 0) {
        const timeval patience = {0, Journal::kPatienceMs * 1000L};
        ::setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof(patience));
        const int room = 1 << 20; // a burst of lines at the start shall not find the queue full
        ::setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &room, sizeof(room));
    }
    return descriptor;
}

bool WriteAll(int descriptor, const msghdr& message)
{
    for (std::size_t index = 0; index < message.msg_iovlen; ++index) {
        const char* data = static_cast<const char*>(message.msg_iov[index].iov_base);
        std::size_t left = message.msg_iov[index].iov_len;
        while (left > 0) {
            const ssize_t written = ::write(descriptor, data, left);
            if (written < 0 && errno != EINTR) {
                return false;
            }
            data += std::max<ssize_t>(written, 0);
            left -= static_cast<std::size_t>(std::max<ssize_t>(written, 0));
        }
    }
    return true;
}

/// An entry that no datagram can hold, in a sealed file in memory that the journal reads instead. -1 for none.
int InSealedFile(const msghdr& message)
{
    const int file = ::memfd_create("journal-entry", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (file < 0) {
        return -1;
    }
    if (!WriteAll(file, message) ||
        ::fcntl(file, F_ADD_SEALS, F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE) != 0) {
        ::close(file);
        return -1;
    }
    return file;
}

ssize_t SendDescriptor(int socket, int file, const sockaddr_un& address)
{
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control = {};
    msghdr message = {};
    message.msg_name = const_cast<sockaddr_un*>(&address); // the kernel only reads it
    message.msg_namelen = sizeof(address);
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    std::memcpy(CMSG_DATA(header), &file, sizeof(file));
    return ::sendmsg(socket, &message, MSG_NOSIGNAL);
}

bool IsTooLong(int error)
{
    return error == EMSGSIZE || error == ENOBUFS;
}

} // namespace

Journal& Journal::OfProcess()
{
    static Journal journal;
    return journal;
}

Journal::~Journal()
{
    if (m_socket >= 0) {
        ::close(m_socket);
    }
}

Journal::Outcome Journal::Send(std::span<const Field> fields)
{
    const Outcome outcome = SendOnce(fields);
    if (outcome == Outcome::Taken && m_lost > 0) {
        TellLoss();
    } else if (outcome == Outcome::Lost) {
        ++m_lost;
    }
    return outcome;
}

void Journal::TellLoss()
{
    std::array<char, 64> text = {};
    std::snprintf(text.data(), text.size(), "%llu lines were lost: the journal did not read",
                  static_cast<unsigned long long>(m_lost));
    const std::array<Field, 3> fields = {
        {{"PRIORITY", "4"}, {"SYSLOG_IDENTIFIER", "VYREL_PLATFORM"}, {"MESSAGE", text.data()}}};
    if (SendOnce(fields) == Outcome::Taken) {
        m_lost = 0;
    }
}

Journal::Outcome Journal::SendOnce(std::span<const Field> fields)
{
    std::array<iovec, kMostFields * kPiecesOfField> pieces; // the part that is used is filled below
    std::array<Length, kMostFields> lengths;                // as above
    std::size_t count = 0;
    for (std::size_t index = 0; index < std::min(fields.size(), kMostFields); ++index) {
        const Field& field = fields[index];
        lengths[index] = LittleEndian(field.value.size());
        pieces[count++] = Piece(field.name.data(), field.name.size());
        pieces[count++] = Piece("\n", 1);
        pieces[count++] = Piece(lengths[index].data(), lengths[index].size());
        pieces[count++] = Piece(field.value.data(), field.value.size());
        pieces[count++] = Piece("\n", 1);
    }
    sockaddr_un address = {};
    if (!SetAddress(address)) {
        return Outcome::Absent;
    }
    msghdr message = {};
    message.msg_name = &address;
    message.msg_namelen = sizeof(address);
    message.msg_iov = pieces.data();
    message.msg_iovlen = count;
    return Deliver(message, address);
}

Journal::Outcome Journal::Deliver(const msghdr& message, const sockaddr_un& address)
{
    if (m_socket < 0 && (m_socket = OpenSocket()) < 0) {
        return Outcome::Absent;
    }
    ssize_t sent = ::sendmsg(m_socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && errno == EAGAIN && !m_isStuck) {
        sent = ::sendmsg(m_socket, &message, MSG_NOSIGNAL);
    }
    if (sent < 0 && IsTooLong(errno)) {
        const int file = InSealedFile(message);
        if (file >= 0) {
            sent = SendDescriptor(m_socket, file, address);
            ::close(file);
        }
    }
    m_isStuck = sent < 0 && (errno == EAGAIN || errno == EINTR);
    if (sent >= 0) {
        return Outcome::Taken;
    }
    return m_isStuck ? Outcome::Lost : Outcome::Absent;
}

} // namespace journal
