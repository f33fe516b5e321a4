#pragma once

/// True when `path` (not null) lies on a Klfs volume. Any thread may call it.
bool IsKlfs(const char* path);
