// A file descriptor that is closed with its owner.
#pragma once

#include <unistd.h>

#include <utility>

namespace settings {

class FileDescriptor
{
public:
    explicit FileDescriptor(int descriptor = -1) : m_descriptor(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }
    ~FileDescriptor()
    {
        if (m_descriptor >= 0) {
            close(m_descriptor);
        }
    }

    int Get() const
    {
        return m_descriptor;
    }
    bool IsOpen() const
    {
        return m_descriptor >= 0;
    }

private:
    int m_descriptor;
};

} // namespace settings
