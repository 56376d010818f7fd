#pragma once

namespace tasklane {

/// Has what is queued delivered by a process of its own, in a session of its own and without this
/// one's streams, so that nothing of this process waits for it or ends it. It stays for some
/// seconds; while it, or an agent, is there, it hears of what is queued by itself, and nothing is
/// started. TASKLANE_DELIVERY=0 leaves what is saved in the queue. What cannot be started now is
/// delivered the next time.
void deliverInBackground();

}  // namespace tasklane
