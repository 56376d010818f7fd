#pragma once

namespace tasklane {

/// Serves requests for pictures from the socket until its other end is gone: each in a child of its
/// own, several at once. The status to end with. See PictureDecoder.h.
int servePictures(int socket);

}  // namespace tasklane
