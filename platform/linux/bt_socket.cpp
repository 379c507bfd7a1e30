#include "bluez/Profiles.h"
#include "bluez/Stack.h"

#include <bt_error.h>
#include <bt_socket.h>

int bt_socket_create_rfcomm(const char* uuid, int* socket)
{
    return uuid == nullptr || socket == nullptr ? int{BT_ERROR_INVALID_PARAMETER}
                                                : bluez::Stack::Shared().profiles.Create(uuid, *socket);
}

int bt_socket_listen_and_accept_rfcomm(int socket, int backlog)
{
    return bluez::Stack::Shared().profiles.Listen(socket, backlog);
}

int bt_socket_destroy_rfcomm(int socket)
{
    return bluez::Stack::Shared().profiles.Destroy(socket);
}
