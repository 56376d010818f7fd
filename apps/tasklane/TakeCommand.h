#pragma once

namespace tasklane {

/// Hands the pending actions over, as JSON on standard output, and empties the queue, in one step:
/// an action that is added meanwhile is in the output or stays in the queue. The queue stays as it
/// is when the output cannot be written, or nobody reads it for some seconds (others wait for the
/// queue meanwhile).
///
/// The attachments of what is handed over lie in a folder of their own from then on, which belongs
/// to the reader; each action names them, whole paths, in "attachmentFiles".
void takeQueue();

}  // namespace tasklane
