// A listening AF_UNIX socket in a libevent loop: accepts connections, and looks away for a moment when it cannot.
#ifndef PLATFORM_MESSAGING_SERVER_SOCKET_LISTENER_H
#define PLATFORM_MESSAGING_SERVER_SOCKET_LISTENER_H

struct event_base;

// What the owner of a listener does. `context` is the owner's.
struct listener_calls {
  void (*take)(void *context, int fd);              // takes over an accepted, non-blocking socket
  void (*report)(void *context, const char *text);  // a line for people
};

struct socket_listener;

// Listens at `path`, as local_socket_listen does. Returns null with `errno`.
socket_listener *socket_listener_open(event_base *base, const char *path, const listener_calls &calls, void *context);

// Stops listening and removes the socket file, unless another server has put its own there. Null is allowed.
void socket_listener_close(socket_listener *listener);

#endif
