// Takes the reply queue along when the process ends while the link is open: a queue outlives its process otherwise.
#pragma once

#include <sys/types.h>

// From now on the queue of this name is removed when SIGTERM, SIGINT, SIGHUP or SIGPIPE ends the process, which then
// ends by the signal as ever, and when the process calls exit. Called before the queue is created, so that no moment is
// left out. A signal that is ignored or has a handler stays as it is. Only the process of this id removes the queue,
// not a child of it. The name must live until the guard is released.
void guardReplyQueue(const char* name, pid_t owner);

// Called when the queue has been removed, or was not created. The signals keep their handler, which from now on does
// nothing but end the process by the signal: eight calls of each request are saved. Nothing when no queue is guarded.
void releaseReplyQueue();
