// Reply queues whose process was killed before it could remove them. Each takes some of the room that the system has
// for queues.
#pragma once

// Removes the queues of the reply queues' family whose process is gone. Returns how many; 0 too when the queues cannot
// be listed. Leaves alone the queues of processes that exist, or of which that cannot be told, and every name that is
// not the family's followed by a decimal process id. Logs nothing.
int removeOrphanQueues();
