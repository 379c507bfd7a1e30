/* Bluetooth: RFCOMM server sockets, used to offer a service by its UUID.
 *
 * The rules that hold for all platform functions (results, ownership, callbacks) stand in README.md beside this
 * header. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* Creates a server socket for the service with this UUID (36 characters, any case). On success *socket is the number
 * that the two functions below take. Several sockets for one UUID may be open at once. */
int bt_socket_create_rfcomm(const char* uuid, int* socket);

/* Publishes the service and accepts connections, at most backlog of them waiting. */
int bt_socket_listen_and_accept_rfcomm(int socket, int backlog);

/* Withdraws the service and closes the socket. */
int bt_socket_destroy_rfcomm(int socket);

#ifdef __cplusplus
}
#endif
