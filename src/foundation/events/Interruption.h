#pragma once

namespace tasklane {

/// Requests to end this process: SIGINT, SIGTERM and SIGHUP, noted instead of obeyed, so that work
/// in hand is finished or taken back first. One for the process; any thread may ask.
class Interruption {
 public:
  /// From now on such a request is noted; repeated calls change nothing. A signal that the starter
  /// has the process ignore (nohup) stays ignored. Where the system grants no descriptor, all stays
  /// as it was: the signals end the process. Call it before waits begin, from one thread.
  static void startNoting();

  /// True for good from the first request on.
  static bool happened();

  /// Has it be as if such a signal had come. Any thread.
  static void request();

  /// Readable for good from the first request on; nobody reads from it, and it stays open. A run
  /// loop's source on it has to be removed once it was told. -1 before startNoting().
  static int descriptor();
};

}  // namespace tasklane
