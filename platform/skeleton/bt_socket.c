#include "bt_socket.h"

#include "bt_error.h"

#include <stddef.h>

int bt_socket_create_rfcomm(const char* uuid, int* socket)
{
    if (socket == NULL) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    *socket = 0;
    return BT_ERROR_NONE;
}

int bt_socket_listen_and_accept_rfcomm(int socket, int backlog)
{
    return BT_ERROR_NONE;
}

int bt_socket_destroy_rfcomm(int socket)
{
    return BT_ERROR_NONE;
}
