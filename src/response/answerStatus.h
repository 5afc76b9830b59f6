/*
 * The HTTP statuses that the program answers with.
 */
#pragma once

inline constexpr int httpOk = 200;
inline constexpr int httpNoContent = 204;
inline constexpr int httpBadRequest = 400;
inline constexpr int httpForbidden = 403;
inline constexpr int httpInternalServerError = 500;
