#pragma once

/// Writes one line to the library's log.
///
/// @param level  severity; the checker uses 8 only, an error.
/// @param format printf-style, without a line end.
///
/// Does not fail: a line that cannot be written is dropped. Any thread may call it.
void JORV_LOG(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));
