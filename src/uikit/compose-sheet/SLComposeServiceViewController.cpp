#include "uikit/compose-sheet/SLComposeServiceViewController.h"

#include <algorithm>
#include <utility>

#include "foundation/events/Interruption.h"
#include "foundation/events/NSOperationQueue.h"
#include "uikit/base/Backend.h"
#include "uikit/base/SystemText.h"
#include "uikit/compose-sheet/internal/SLComposeServiceViewController_content.h"
#include "uikit/views/UIAccessibility.h"

namespace tasklane {
namespace {

constexpr CGFloat kWidth = 400, kWidest = 600;
/// The least height while a row's screen is open: a list needs more room than the sheet itself.
constexpr CGFloat kHeightOfPushedScreen = 420;
constexpr UIColor kBackground{1, 1, 1, 1};
/// The second press of a double click means no more than the first.
constexpr std::chrono::milliseconds kLongestDoubleClick{500};
/// Most waits are over before a line about them could be read.
constexpr std::chrono::milliseconds kUntilHeldUpIsTold{500};

/// Large texts get a wider sheet, so that long words keep their room.
CGFloat preferredWidth() { return std::clamp(kWidth * backend::textSizeFactor(), kWidth, kWidest); }

}  // namespace

SLComposeServiceViewController::SLComposeServiceViewController()
    : content_(std::make_shared<ContentController>()) {
  navigation_ = UINavigationController::make(content_);
}

SLComposeServiceViewController::~SLComposeServiceViewController() = default;

void SLComposeServiceViewController::beginRequestWithExtensionContext(
    const std::shared_ptr<NSExtensionContext>& context) {
  extensionContext_ = context;
}

void SLComposeServiceViewController::loadView() {
  UIViewController::loadView();
  const auto self = sharedFrom(this);
  content_->setSheet(self);
  view()->setBackgroundColor(kBackground);
  addChildViewController(navigation_);
  const auto& stack = navigation_->view();
  stack->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight);
  stack->setFrame(view()->bounds());
  view()->addSubview(stack);
}

void SLComposeServiceViewController::viewDidLoad() {
  UIViewController::viewDidLoad();
  const auto self = sharedFrom(this);
  const std::weak_ptr<SLComposeServiceViewController> weakSelf = self;
  const auto& item = content_->navigationItem();
  item->setTitle(title());
  item->setLeftBarButtonItem(std::make_shared<UIBarButtonItem>(
      detail::systemText("Cancel"), UIBarButtonItemStyle::Plain, self, [weakSelf](auto&) {
        if (const auto sheet = weakSelf.lock()) sheet->cancel();
      }));
  item->setRightBarButtonItem(std::make_shared<UIBarButtonItem>(
      detail::systemText("Post"), UIBarButtonItemStyle::Done, self, [weakSelf](auto&) {
        if (const auto sheet = weakSelf.lock()) sheet->post();
      }));
  content_->textView()->setPlaceholder(placeholder_);
  content_->textView()->setDelegate(self);
  navigation_->setTopWillChangeHandler([weakSelf](UIViewController&) {
    if (const auto sheet = weakSelf.lock()) sheet->updatePreferredSize();
  });
  validateContent();
}

void SLComposeServiceViewController::viewWillAppear(bool animated) {
  UIViewController::viewWillAppear(animated);
  validateContent();
  updatePreferredSize();
}

void SLComposeServiceViewController::updatePreferredSize() {
  if (!isViewLoaded()) return;
  const CGFloat given = view()->bounds().size.width;
  measuredWidth_ = given > 0 ? given : preferredWidth();
  CGFloat height = content_->heightForWidth(measuredWidth_) + UINavigationBar::standardHeight();
  if (navigation_->topViewController() != content_) {
    height = std::max(height, kHeightOfPushedScreen);
  }
  setPreferredContentSize({preferredWidth(), height});
  content_->view()->setNeedsLayout();
}

void SLComposeServiceViewController::viewDidLayoutSubviews() {
  UIViewController::viewDidLayoutSubviews();
  if (view()->bounds().size.width != measuredWidth_) updatePreferredSize();
}

// Content.

std::shared_ptr<UITextView> SLComposeServiceViewController::textView() {
  view();
  return content_->textView();
}

std::string SLComposeServiceViewController::contentText() { return textView()->text(); }

void SLComposeServiceViewController::setPlaceholder(std::string placeholder) {
  placeholder_ = std::move(placeholder);
  content_->textView()->setPlaceholder(placeholder_);
}

void SLComposeServiceViewController::setTitle(const std::string& title) {
  UIViewController::setTitle(title);
  content_->navigationItem()->setTitle(title);
}

void SLComposeServiceViewController::textViewDidChange(
    const std::shared_ptr<UITextView>& textView) {
  if (textView != content_->textView()) return;
  validateContent();
  updatePreferredSize();
}

void SLComposeServiceViewController::validateContent() {
  if (const auto& button = content_->navigationItem()->rightBarButtonItem()) {
    button->setEnabled(isContentValid());
  }
}

void SLComposeServiceViewController::setThumbnails(
    const std::vector<SLComposeThumbnail>& thumbnails) {
  content_->setThumbnails(thumbnails);
  updatePreferredSize();
}

void SLComposeServiceViewController::setNotice(std::optional<SLComposeNotice> notice) {
  notice_ = std::move(notice);
  showNotice();
}

void SLComposeServiceViewController::showNotice() {
  auto notice = notice_;
  if (posting_ == Posting::AwaitsContent) {
    notice = {detail::systemText("Waiting for what is still loading. Save again to go without it."),
              {}};
  } else if (posting_ == Posting::AwaitsLock || saysHeldUp_) {
    notice = {detail::systemText("Waiting for another program to finish…"), {}};
  }
  content_->setNotice(notice);
  updatePreferredSize();
  const std::string text = notice ? notice->text : "";
  if (text != std::exchange(shownNotice_, text) && !text.empty()) {
    UIAccessibilityPostAnnouncement(text);
  }
}

void SLComposeServiceViewController::setColors(const Colors& colors) {
  view()->setBackgroundColor(colors.background.value_or(kBackground));
  content_->setColors(colors);
}

// Rows.

void SLComposeServiceViewController::pushConfigurationViewController(
    const std::shared_ptr<UIViewController>& controller) {
  // Who turns to a row goes on with the entry.
  if (posting_ == Posting::AwaitsContent) setPosting(Posting::No);
  navigation_->pushViewController(controller, true);
}

std::shared_ptr<UIView> SLComposeServiceViewController::preferredFocusView() {
  const auto top = navigation_->topViewController();
  return top ? top->preferredFocusView() : nullptr;
}

// The end of the request.

void SLComposeServiceViewController::post() {
  if (ended_ || !isContentValid()) return;
  const auto self = sharedFrom(this);
  if (posting_ == Posting::No && isContentLoading()) {
    awaitedSince_ = std::chrono::steady_clock::now();
    setPosting(Posting::AwaitsContent);
  } else if (posting_ == Posting::No ||
             (posting_ == Posting::AwaitsContent &&
              std::chrono::steady_clock::now() - awaitedSince_ > kLongestDoubleClick)) {
    postNow();
  }
}

void SLComposeServiceViewController::contentDidLoad() {
  if (posting_ == Posting::AwaitsContent && !isContentLoading()) postNow();
}

void SLComposeServiceViewController::postNow() {
  const auto self = sharedFrom(this);
  setPosting(Posting::UnderWay);
  const auto outcome = postContent();
  setPosting(Posting::No);
  ended_ = ended_ || outcome.ok();
  postError_ = outcome ? std::nullopt : std::optional(outcome.error());
  if (ended_) return;
  if (cancelled_) {
    postError_.reset();
    end();
  } else if (outcome.error().kind == NSError::Kind::Interrupted) {
    abandon();
  } else {
    didFailToPost();
  }
}

Result<void> SLComposeServiceViewController::postContent() {
  didSelectPost();
  return {};
}

void SLComposeServiceViewController::setPosting(Posting posting) {
  const auto isWait = [](Posting state) {
    return state == Posting::AwaitsContent || state == Posting::AwaitsLock;
  };
  const Posting former = std::exchange(posting_, posting);
  if (isWait(former) || isWait(posting)) showNotice();
  if (posting == Posting::AwaitsLock) {
    // What is being written cannot be changed any more; Cancel in the bar can be pressed.
    content_->view()->setUserInteractionEnabled(false);
  } else if (former == Posting::AwaitsLock) {
    content_->view()->setUserInteractionEnabled(true);
    content_->textView()->becomeFirstResponder();
  }
}

bool SLComposeServiceViewController::lockIsAwaited() {
  if (posting_ == Posting::UnderWay) setPosting(Posting::AwaitsLock);
  if (posting_ == Posting::AwaitsLock) return true;
  const auto now = std::chrono::steady_clock::now();
  if (!heldUpSince_) {
    heldUpSince_ = now;
    const std::weak_ptr<SLComposeServiceViewController> weakSelf = sharedFrom(this);
    NSOperationQueue::mainQueue().addOperationWithBlock([weakSelf] {
      if (const auto sheet = weakSelf.lock()) sheet->goOnAfterLock();
    });
  } else if (!saysHeldUp_ && now - *heldUpSince_ > kUntilHeldUpIsTold) {
    saysHeldUp_ = true;
    showNotice();
  }
  return false;
}

void SLComposeServiceViewController::goOnAfterLock() {
  heldUpSince_.reset();
  if (std::exchange(saysHeldUp_, false)) showNotice();
}

void SLComposeServiceViewController::cancel() {
  if (ended_) return;
  const auto self = sharedFrom(this);
  if (posting_ >= Posting::UnderWay) {
    cancelled_ = true;
    Interruption::request();
  } else if (!postError_ || shouldCancel()) {
    end();
  }
}

void SLComposeServiceViewController::abandon() {
  if (ended_ || posting_ >= Posting::UnderWay) return;
  const auto self = sharedFrom(this);
  if (postError_) willAbandon();
  end();
}

void SLComposeServiceViewController::end() {
  if (!std::exchange(ended_, true)) didSelectCancel();
}

void SLComposeServiceViewController::didSelectPost() {
  if (extensionContext_) extensionContext_->completeRequestReturningItems();
}

void SLComposeServiceViewController::didSelectCancel() {
  if (!extensionContext_) return;
  extensionContext_->cancelRequestWithError(
      {NSError::Kind::Cancelled, "The share sheet was cancelled."});
}

bool SLComposeServiceViewController::accessibilityPerformEscape() {
  if (presentedViewController()) return UIViewController::accessibilityPerformEscape();
  if (!navigation_->goBack()) cancel();
  return true;
}

bool SLComposeServiceViewController::performPrimaryAction() {
  post();
  return true;
}

}  // namespace tasklane
