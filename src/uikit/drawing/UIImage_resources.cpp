#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <utility>

#include "foundation/base/NSLog.h"
#include "foundation/extension/NSBundle.h"
#include "uikit/base/UIScreen.h"
#include "uikit/drawing/UIImage.h"

namespace tasklane {
namespace {

struct Variant {
  std::string path;
  int scale;
};

/// The variant for the screen: its own scale, else the next larger one, else the largest there is.
std::optional<Variant> findVariant(const NSBundle& bundle, const std::string& name, int scale) {
  for (const int candidate : {scale, scale + 1, scale + 2, scale - 1, scale - 2}) {
    if (candidate < 1 || candidate > 3) continue;
    const std::string suffix = candidate == 1 ? "" : "@" + std::to_string(candidate) + "x";
    if (auto path = bundle.pathForResource(name + suffix, "png")) {
      return Variant{std::move(*path), candidate};
    }
  }
  return {};
}

}  // namespace

std::shared_ptr<UIImage> UIImage::imageNamed(const std::string& fileName) {
  const std::string name =
      fileName.ends_with(".png") ? fileName.substr(0, fileName.size() - 4) : fileName;
  const auto bundle = NSBundle::mainBundle();
  const int scale = std::clamp(static_cast<int>(std::ceil(UIScreen::mainScreen().scale())), 1, 3);

  static std::map<std::pair<std::string, int>, std::shared_ptr<UIImage>> cache;
  const std::pair key{bundle->bundlePath() + "/" + name, scale};
  if (const auto known = cache.find(key); known != cache.end()) return known->second;

  const auto variant = findVariant(*bundle, name, scale);
  if (!variant) return nullptr;
  const auto encoded = EncodedImage::imageWithContentsOfFile(variant->path);
  if (!encoded) {
    NSLog(encoded.error().description);
    return nullptr;
  }
  const auto image =
      imageWithEncodedImage(*encoded.value(), EncodedImage::kLargestThumbnail, variant->scale);
  if (image) cache[key] = image;
  return image;
}

std::shared_ptr<UIImage> UIImage::imageWithEncodedImage(const EncodedImage& image, int maximumSide,
                                                        CGFloat scale) {
  auto pixels = image.thumbnail(maximumSide);
  if (!pixels) {
    NSLog(pixels.error().description);
    return nullptr;
  }
  auto& decoded = pixels.value();
  return std::make_shared<UIImage>(std::make_shared<const CGImage>(CGImage{
                                       decoded.width, decoded.height, std::move(decoded.argb)}),
                                   scale);
}

}  // namespace tasklane
