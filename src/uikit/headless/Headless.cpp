#include "uikit/headless/Headless.h"

#include <memory>
#include <utility>

#include "uikit/base/Backend.h"
#include "uikit/drawing/UIFont.h"
#include "uikit/headless/TextMetrics.h"
#include "uikit/views/UIWindow.h"

namespace tasklane {
namespace {

struct State {
  CGFloat textSizeFactor = 1;
  CGSize screenSize{1280, 800};
  CGFloat screenScale = 1, chosenScale = 0;
  UIUserInterfaceLayoutDirection direction = UIUserInterfaceLayoutDirection::LeftToRight;
  bool animations = false, assistiveProgram = false, recordsPeers = false;
  std::vector<std::string> announcements, peerRecords;
};

State& state() {
  static State instance;
  return instance;
}

std::size_t livePeers = 0;

class RecordingPeer : public UIViewPeer {
 public:
  explicit RecordingPeer(const UIView& view) : name_(view.className()) {
    ++livePeers;
    record("+" + name_);
  }
  ~RecordingPeer() override {
    --livePeers;
    record("-" + name_);
  }
  void viewDidChange() override { record(name_ + " changed"); }
  void subviewsDidChange() override { record(name_ + " subviews"); }
  void firstResponderDidChange(bool isFirstResponder) override {
    record(name_ + (isFirstResponder ? " focus" : " blur"));
  }

 private:
  static void record(std::string text) { state().peerRecords.push_back(std::move(text)); }
  std::string name_;
};

}  // namespace

namespace headless {

void reset() { state() = State(); }
void setTextSizeFactor(CGFloat factor) { state().textSizeFactor = factor; }
void setScreen(CGSize size, CGFloat scale) {
  state().screenSize = size;
  state().screenScale = scale;
}
void setLayoutDirection(UIUserInterfaceLayoutDirection direction) { state().direction = direction; }
void setAnimationsEnabled(bool enabled) { state().animations = enabled; }
void setAssistiveProgramConnected(bool connected) { state().assistiveProgram = connected; }
const std::vector<std::string>& announcements() { return state().announcements; }
void setRecordsPeers(bool records) { state().recordsPeers = records; }
std::vector<std::string> takePeerRecords() { return std::exchange(state().peerRecords, {}); }
std::size_t peerCount() { return livePeers; }

}  // namespace headless

namespace backend {

CGSize sizeOfText(std::string_view text, const UIFont& font, CGFloat maximumWidth,
                  int numberOfLines) {
  return headless::measure(text, font.pointSize(), maximumWidth, numberOfLines);
}
CGFloat lineHeightOfFont(const UIFont& font) { return font.pointSize() * headless::kLineHeight; }

CGFloat textSizeFactor() { return state().textSizeFactor; }
CGSize mainScreenSize() { return state().screenSize; }
CGFloat mainScreenScale() {
  return state().chosenScale > 0 ? state().chosenScale : state().screenScale;
}
void overrideMainScreenScale(CGFloat scale) { state().chosenScale = scale; }
UIUserInterfaceLayoutDirection layoutDirection() { return state().direction; }
bool animationsEnabled() { return state().animations; }
bool isAssistiveProgramConnected() { return state().assistiveProgram; }
void screenDidChange() {}

void announce(const std::string& text) {
  if (!text.empty()) state().announcements.push_back(text);
}

std::unique_ptr<UIViewPeer> makePeer(UIView& view) {
  if (!state().recordsPeers) return nullptr;
  return std::make_unique<RecordingPeer>(view);
}

void showWindow(UIWindow& window) { (void)window; }
void hideWindow(UIWindow& window) { (void)window; }

Result<void> snapshotWindow(UIWindow& window, const std::string& path, CGFloat scale) {
  (void)window, (void)scale;
  return NSError{NSError::Kind::Unsupported,
                 "cannot draw a picture to " + path + ": this program was built without a screen"};
}

void rehearseWindow(UIWindow& window) { (void)window; }

void serveWindows(Serve) {}

void start(int& argc, char** argv, const std::string& applicationName, void (*)(), void (*)()) {
  (void)argc, (void)argv, (void)applicationName;
}

}  // namespace backend
}  // namespace tasklane
