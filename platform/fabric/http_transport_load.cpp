#include <dlfcn.h>

#include "http_transport.h"

bool http_transport_load(event_base *base, const http_credentials &credentials, http_transport &transport,
                         std::string &error) {
  void *library = dlopen("libswitchhttp.so", RTLD_NOW | RTLD_LOCAL);  // stays for as long as the process
  void *opener = library == nullptr ? nullptr : dlsym(library, "http_transport_open");
  if (opener == nullptr) {
    error = std::string("a fabric needs the library that reaches it: ") + dlerror();
    return false;
  }
  return reinterpret_cast<http_transport_opener>(opener)(base, credentials, transport, error);
}
