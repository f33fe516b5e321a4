#pragma once

#include <cstddef>
#include <cstdint>

/// Mount record of the container file system, passed by address to its client library. The layout
/// is fixed. Members named "reserved" stay zero. The library defines what initValue, initPointer,
/// value4200 and value4212 mean.
struct KovfsMountRecord {
    std::int32_t flags;
    std::uint8_t reserved4[12];
    std::int32_t initValue;
    std::uint8_t reserved20[4];
    void* initPointer;
    const char* name;
    std::uint8_t reserved40[56];
    char directory[4097];
    std::uint8_t reserved4193[7];
    std::int32_t value4200;
    std::uint8_t reserved4204[8];
    std::int32_t value4212;
    std::uint8_t reserved4216[1128];
};

static_assert(sizeof(KovfsMountRecord) == 5344);
static_assert(offsetof(KovfsMountRecord, flags) == 0);
static_assert(offsetof(KovfsMountRecord, initValue) == 16);
static_assert(offsetof(KovfsMountRecord, initPointer) == 24);
static_assert(offsetof(KovfsMountRecord, name) == 32);
static_assert(offsetof(KovfsMountRecord, directory) == 96);
static_assert(offsetof(KovfsMountRecord, value4200) == 4200);
static_assert(offsetof(KovfsMountRecord, value4212) == 4212);

extern "C" {

/// Initialises the container file system client.
///
/// @param value   the record's initValue, 0.
/// @param pointer the record's initPointer, null.
/// @param flags   7.
/// @return negative on failure. Main thread only.
int KovfsInit(int value, void* pointer, int flags);

/// Mounts the container file system.
///
/// @param version version text, "6.0.0.0".
/// @param data    a KovfsMountRecord, owned by the caller and valid until the unmount.
/// @param size    size of the record in bytes, 5344.
/// @return negative on failure. Main thread only, after KovfsInit.
int KovfsMountV1(const char* version, void* data, std::size_t size);

/// Unmounts the container file system.
///
/// @param name the mount record's name, "KOVFS".
/// @return negative on failure. Main thread only.
int KovfsUmount(const char* name);
}
