// Calls that the system refuses, for the programs that link this with --wrap.
#pragma once

namespace zvtest {

// open fails with this path; null: with none.
inline const char* unopenable = nullptr;

inline bool chownFails = false; // lchown
inline bool listenFails = false;

} // namespace zvtest
