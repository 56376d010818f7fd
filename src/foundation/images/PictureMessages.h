#pragma once

#include <cstdint>

namespace tasklane {

/// What goes between a program and its picture decoder: a request with its descriptors (reply,
/// picture, scratch, result) in one message; the reply through a pipe, until its end: the head, the
/// text, the pixels. Both ends come from one build, which the version tells apart from any other.
struct PictureRequestMessage {
  static constexpr std::uint32_t kVersion = 1;

  std::uint32_t version = kVersion;
  std::int32_t format = 0;
  std::int32_t thumbnailSide = 0;
  std::int32_t reserved = 0;
  double quality = 0;
};

/// What the decoder answers of one picture; the text of an error follows.
struct PictureReplyHead {
  static constexpr std::int32_t kDone = -1;
  static constexpr std::uint32_t kMaximumText = 400;

  std::int32_t outcome = kDone;  ///< or the kind of error
  std::uint32_t textLength = 0;  ///< of the error, in bytes
  std::uint32_t width = 0;       ///< of the thumbnail
  std::uint32_t height = 0;
};

/// The descriptor at which the decoder finds its socket.
inline constexpr int kPictureDecoderSocket = 3;
inline constexpr int kPictureDescriptors = 4;
/// What one picture may take by the clock before its decoder is ended, in seconds.
inline constexpr int kPictureSeconds = 120;

}  // namespace tasklane
