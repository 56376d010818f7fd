#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "uikit/base/CGGeometry.h"
#include "uikit/views/UIView.h"

/// The backend that shows nothing, and its switches for tests. Texts have fixed metrics: a
/// character is half its font's size wide, an East Asian wide one or an emoji the whole size, a
/// combining mark nothing; a line is 1.2 times the size high. The screen is 1280 by 800 points at
/// scale 1. Main thread.
namespace tasklane::headless {

/// Back to: text size 1, left to right, animations off, no assistive program, no peers, nothing
/// recorded.
void reset();

void setTextSizeFactor(CGFloat factor);
void setScreen(CGSize size, CGFloat scale);
void setLayoutDirection(UIUserInterfaceLayoutDirection direction);
void setAnimationsEnabled(bool enabled);
void setAssistiveProgramConnected(bool connected);

/// What an assistive program would have said, in order.
const std::vector<std::string>& announcements();

/// From now on views on a screen get peers, which record their coming ("+UILabel"), going
/// ("-UILabel"), the changes they hear of ("UILabel changed", "UILabel subviews") and the first
/// responder ("UILabel focus", "UILabel blur").
void setRecordsPeers(bool records);
/// The records since the last call.
std::vector<std::string> takePeerRecords();
std::size_t peerCount();

}  // namespace tasklane::headless
