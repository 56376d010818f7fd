#pragma once

namespace tasklane::qt {

/// Has views lay out for a picture's scale (hairlines, choice of images) while it lives.
class ScaleForPicture {
 public:
  explicit ScaleForPicture(double scale);
  ~ScaleForPicture();
  ScaleForPicture(const ScaleForPicture&) = delete;
  ScaleForPicture& operator=(const ScaleForPicture&) = delete;

 private:
  double before_;
};

}  // namespace tasklane::qt
