// Files that cannot be opened, for the programs that link this with --wrap=open64.
#pragma once

namespace zvtest {

// open fails with this path; null: with none.
inline const char* unopenable = nullptr;

} // namespace zvtest
