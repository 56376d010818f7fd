#include "foundation/images/PictureDecoder.h"

/// Linked to programs that use the picture decoder of the build from outside the bundle.
[[maybe_unused]] static const bool kPictureDecoderIsKnown = [] {
  tasklane::PictureDecoder::setProgram(TASKLANE_PICTURE_DECODER);
  return true;
}();
