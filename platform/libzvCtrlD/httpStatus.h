// Reason phrases of the HTTP statuses.
#pragma once

// The reason of a status of 100 to 599; for an unassigned one its class, as "Client Error". Never null; static.
const char* httpReason(int status);
