#pragma once

#include "bluez_dbus.h"
#include "bus/Deadline.h"
#include "bus/Handles.h"

#include <map>
#include <string>

namespace bluez {

class Stack;

/// Services that are offered by their UUID over RFCOMM. The daemon takes a UUID once, so that all sockets of one share
/// its registration; who connects is let in and hung up on, because only the offer matters. A daemon that was started
/// anew is told again.
class Profiles
{
public:
    explicit Profiles(Stack& stack) : m_stack(stack) {}
    Profiles(const Profiles&) = delete;
    Profiles& operator=(const Profiles&) = delete;
    ~Profiles();

    int Create(const char* uuid, int& socket);
    int Listen(int socket, int backlog);
    int Destroy(int socket);

    void BusWent();
    void ManagerCame();
    /// All sockets are closed.
    void Forget();

private:
    struct Socket
    {
        std::string uuid; ///< in small letters
        bool listens = false;
    };
    struct Offer
    {
        int listeners = 0;
        std::string path;
        bus::ObjectPtr<BluezProfile1> profile; ///< exported; null while there is no bus
    };

    [[nodiscard]] bool Export(Offer& offer) const;
    static void Unexport(Offer& offer);
    void Withdraw(const std::string& uuid);

    Stack& m_stack;
    int m_lastSocket = 0;
    std::map<int, Socket> m_sockets;
    std::map<std::string, Offer> m_offers; ///< by UUID
};

} // namespace bluez
