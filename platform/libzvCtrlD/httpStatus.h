// Reason phrases of the HTTP statuses.
#pragma once

// The reason of a status; of an unassigned one its class ("Client Error"). Never null.
const char* httpReason(int status);
