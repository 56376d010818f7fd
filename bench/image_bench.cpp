// Photos: re-encoding as a JPEG of the highest quality against the archive's decoder and encoder
// piped together, and the memory that a share of ten photos of 48 megapixels takes.
//
// image_bench [ROUNDS]; it starts itself as a child for every figure of memory.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/Report.h"
#include "foundation/events/NSOperationQueue.h"
#include "foundation/extension/NSItemProvider.h"
#include "foundation/extension/UTType.h"
#include "foundation/images/EncodedImage.h"
#include "foundation/images/PictureDecoder.h"
#include "foundation/images/TestPictures.h"

using namespace tasklane;

namespace {

constexpr int kPhotos = 10;

/// Broad gradients with a sensor's noise.
pictures::FillRow photoRows(std::uint32_t width, std::uint32_t height) {
  auto state = std::make_shared<std::uint32_t>(12345);
  return [=](std::uint32_t y, std::uint8_t* row) {
    const double down = static_cast<double>(y) / height;
    for (std::uint32_t x = 0; x < width; ++x) {
      const double across = static_cast<double>(x) / width;
      *state = *state * 1664525u + 1013904223u;
      const int noise = static_cast<int>(*state >> 29) - 4;
      *row++ = static_cast<std::uint8_t>(40 + 150 * across + noise);
      *row++ = static_cast<std::uint8_t>(60 + 120 * down + noise);
      *row++ = static_cast<std::uint8_t>(200 - 100 * across * down + noise);
    }
  };
}

void makeJPEG(const std::string& path, const pictures::JPEGShape& shape) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  pictures::writeJPEG(file, shape, photoRows(shape.width, shape.height));
  std::fclose(file);
}

void makePNG(const std::string& path, const pictures::PNGShape& shape) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  pictures::writePNG(file, shape, photoRows(shape.width, shape.height));
  std::fclose(file);
}

double peakMegabytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::strtod(line.c_str() + 6, nullptr) / 1024;
  }
  return NAN;
}

void reencode(const EncodedImage& image, const std::string& folder) {
  auto file = UnnamedFile::makeInFolder(folder);
  auto written =
      file.ok() ? image.writeJPEGRepresentation(1.0, *file.value()) : Result<void>(file.error());
  if (written.ok()) return;
  std::fprintf(stderr, "%s\n", written.error().description.c_str());
  std::_Exit(1);
}

void reencodeFile(const std::string& path, const std::string& folder) {
  auto image = EncodedImage::imageWithContentsOfFile(path);
  if (!image.ok()) {
    std::fprintf(stderr, "%s\n", image.error().description.c_str());
    std::_Exit(1);
  }
  reencode(*image.value(), folder);
}

/// A share of several photos, each prepared on the thread that loads it, as the sheet does.
void share(const std::string& path, int photos, const std::string& folder) {
  for (int i = 0; i < photos; ++i) {
    auto provider = NSItemProvider::makeWithContentsOfURL(NSURL::fileURLWithPath(path));
    provider->loadItemForTypeIdentifier(
        kUTTypeImage,
        [folder](const NSItemProviderItem& item, const std::optional<NSError>& error) {
          const auto* image = std::get_if<std::shared_ptr<const EncodedImage>>(&item);
          if (error || image == nullptr) std::_Exit(1);
          reencode(**image, folder);
        });
  }
  while (NSItemProvider::outstandingLoads() > 0) {
    NSOperationQueue::mainQueue().runPending();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

/// The peak of a child that does one of the things above with a picture.
double peakOfChild(const std::string& what, const std::string& path, const std::string& folder) {
  const std::string self = std::filesystem::read_symlink("/proc/self/exe");
  const std::string command = "'" + self + "' " + what + " '" + path + "' '" + folder + "'";
  std::FILE* child = ::popen(command.c_str(), "r");
  double peak = NAN;
  if (child == nullptr || std::fscanf(child, "%lf", &peak) != 1) peak = NAN;
  if (child != nullptr && ::pclose(child) != 0) peak = NAN;
  return peak;
}

/// The largest process that the decoder was: itself, or the child of a picture.
double decoderMegabytes() {
  PictureDecoder::shared().stop();
  rusage usage{};
  ::getrusage(RUSAGE_CHILDREN, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

int child(const std::string& what, const std::string& path, const std::string& folder) {
  if (what == "one") reencodeFile(path, folder);
  if (what == "ten") share(path, kPhotos, folder);
  // Two pictures are decoded at a time, beside the program that makes a child for each.
  const int decoders = what == "idle" ? 0 : what == "one" ? 2 : 3;
  std::printf("%f\n", peakMegabytes() + decoders * decoderMegabytes());
  std::fflush(stdout);
  return 0;
}

void compareWithPipe(const std::string& name, const std::string& path, const std::string& folder,
                     int rounds) {
  const std::string pipe = "djpeg '" + path + "' | cjpeg -quality 100 > '" + folder + "/piped.jpg'";
  bench::compare({{name, [&] { reencodeFile(path, folder); }, {}},
                  {"djpeg | cjpeg -quality 100",
                   [&] {
                     if (std::system(pipe.c_str()) != 0) std::exit(1);
                   },
                   {}}},
                 rounds);
}

/// What a share's first picture takes longer than its next.
void reportStart(const std::string& path, const std::string& folder, int rounds) {
  double first = INFINITY, next = INFINITY;
  for (int i = 0; i < rounds * 4; ++i) {
    PictureDecoder::shared().stop();
    for (double* least : {&first, &next}) {
      const auto start = std::chrono::steady_clock::now();
      reencodeFile(path, folder);
      const std::chrono::duration<double, std::milli> taken =
          std::chrono::steady_clock::now() - start;
      *least = std::min(*least, taken.count());
    }
  }
  bench::report("the decoder's start", first - next, "ms", 3, "3 ms");
}

void reportMemory(const std::string& name, const std::string& path, const std::string& folder) {
  const double idle = peakOfChild("idle", path, folder);
  bench::report(name + ", added", peakOfChild("one", path, folder) - idle, "MB", 16, "16 MB");
}

void reportShare(const std::string& name, const std::string& path, const std::string& folder) {
  bench::report("ten of " + name + ", whole process", peakOfChild("ten", path, folder), "MB", 120,
                "120 MB");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4) return child(argv[1], argv[2], argv[3]);
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 5;
  std::string folder = "/var/tmp/image_bench-XXXXXX";
  if (::mkdtemp(folder.data()) == nullptr) return 1;
  const std::string small = folder + "/12.jpg", large = folder + "/48.jpg",
                    turned = folder + "/48-turned.jpg",
                    progressive = folder + "/48-progressive.jpg", png = folder + "/48.png",
                    interlaced = folder + "/48-interlaced.png";
  makeJPEG(small, {.width = 4000, .height = 3000, .quality = 90});
  makeJPEG(large, {.width = 8000, .height = 6000, .quality = 90});
  makeJPEG(turned, {.width = 8000, .height = 6000, .orientation = 6, .quality = 90});
  makeJPEG(progressive, {.width = 8000, .height = 6000, .progressive = true, .quality = 90});
  makePNG(png, {.width = 8000, .height = 6000, .level = 1});
  makePNG(interlaced, {.width = 8000, .height = 6000, .interlaced = true, .level = 1});
  makeJPEG(folder + "/tiny.jpg", {});
  reportStart(folder + "/tiny.jpg", folder, rounds);
  compareWithPipe("12 MP baseline JPEG", small, folder, rounds);
  compareWithPipe("48 MP baseline JPEG", large, folder, rounds);
  compareWithPipe("48 MP baseline JPEG, turned", turned, folder, rounds);
  compareWithPipe("48 MP progressive JPEG", progressive, folder, rounds);
  reportMemory("12 MP baseline JPEG", small, folder);
  reportMemory("48 MP baseline JPEG", large, folder);
  reportMemory("48 MP baseline JPEG, turned", turned, folder);
  reportMemory("48 MP progressive JPEG", progressive, folder);
  reportMemory("48 MP PNG", png, folder);
  reportMemory("48 MP interlaced PNG", interlaced, folder);
  reportShare("48 MP baseline JPEG", large, folder);
  reportShare("48 MP PNG", png, folder);
  std::filesystem::remove_all(folder);
  return 0;
}
