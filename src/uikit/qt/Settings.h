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

/// Has the toolkit's own texts, which are those of an editor's menu, in the person's language.
/// Reads them at the first call.
void translateToolkit();

}  // namespace tasklane::qt
