// Decodes pictures for the program that started it, which talks to it through a socket.

#include <sys/socket.h>

#include <cstdio>

#include "foundation/images/PictureMessages.h"
#include "foundation/images/decoding/DecoderService.h"

int main() {
  int type = 0;
  socklen_t length = sizeof type;
  if (::getsockopt(tasklane::kPictureDecoderSocket, SOL_SOCKET, SO_TYPE, &type, &length) != 0) {
    std::fputs("This program serves the others of its folder; it is not started by hand.\n",
               stderr);
    return 64;
  }
  return tasklane::servePictures(tasklane::kPictureDecoderSocket);
}
