#pragma once

#include "support/Message.h"

#include <gio/gio.h>

#include <memory>
#include <string>

namespace support {

/// An object on the bus as a file in data/dbus-1/interfaces describes it: its path, its interface, its members.
class Description
{
public:
    /// \param interface the name of the file without its ending. Throws std::runtime_error when it cannot be read.
    explicit Description(const std::string& interface);

    /// Holds a message against it.
    /// \return what is wrong with the path, the interface, the member or the type of the body; empty for nothing
    [[nodiscard]] std::string Violation(const Message& message) const;

    [[nodiscard]] std::string Path() const;

private:
    struct NodeUnref
    {
        void operator()(GDBusNodeInfo* node) const
        {
            g_dbus_node_info_unref(node);
        }
    };

    std::unique_ptr<GDBusNodeInfo, NodeUnref> m_node;
};

} // namespace support
