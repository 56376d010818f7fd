#pragma once

#include <sys/types.h>

#include <mutex>
#include <string>
#include <utility>

#include "foundation/base/NSError.h"
#include "foundation/images/EncodedImage.h"

namespace tasklane {

/// What is asked of the decoder: a thumbnail, or without a side for one, a JPEG.
struct PictureRequest {
  EncodedImage::Format format = EncodedImage::Format::JPEG;
  double quality = 0;     ///< of the JPEG, 0 to 1
  int thumbnailSide = 0;  ///< in pixels
};

/// What the decoder may use, and all that it may. None is owned.
struct PictureDescriptors {
  int picture;  ///< read
  int scratch;  ///< written and read back: what does not fit in memory
  int result;   ///< the JPEG is written here; -1 for none
};

/// The program that decodes pictures, picture-decoder, as this process sees it.
///
/// A decoder is where a hostile file would take hold, so none runs in a process that can do
/// anything. The program is started at the first picture and ends with this process; it makes a
/// child for each picture, which gives up everything but the descriptors above before it reads the
/// first byte, and has a limit of memory, time and disk (see decoding/Confinement.h). Whatever
/// happens to a child is an error of that picture alone. The program stands in the folder Helpers
/// beside this one or up to three levels above, in the application's bundle; nothing in the
/// environment names another, and it gets an empty environment itself.
///
/// Any thread; several pictures at once. Of the formats whose decoders need much memory one is
/// decoded at a time.
class PictureDecoder {
 public:
  static PictureDecoder& shared();

  /// One with a program of its own; none for the bundle's. Ends it when it is destroyed.
  explicit PictureDecoder(std::string program = {}) : program_(std::move(program)) {}
  ~PictureDecoder() { stop(); }
  PictureDecoder(const PictureDecoder&) = delete;
  PictureDecoder& operator=(const PictureDecoder&) = delete;

  /// Waits until the picture is decoded. Pixels are empty when a JPEG was asked for.
  Result<EncodedImage::Pixels> decode(const PictureRequest& request,
                                      const PictureDescriptors& descriptors);

  /// Ends the program, and pictures that it is at; the next picture starts it anew.
  void stop();

  /// Another program than the bundle's, for those who have no bundle. Before the first picture.
  static void setProgram(const std::string& path);

 private:
  Result<void> send(const PictureRequest& request, const PictureDescriptors& descriptors,
                    int reply);
  Result<void> start();
  void end();

  std::string program_;
  std::mutex starting_;
  std::mutex oneAtATime_;
  int socket_ = -1;
  pid_t process_ = -1;
};

}  // namespace tasklane
