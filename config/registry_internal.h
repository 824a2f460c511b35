// Internal hooks of the profile store (config/registry.cpp), for the tests,
// the benchmark and the standard family's writer (config/registry_std.cpp).
// Not part of the public headers.
#ifndef KXSUPP_CONFIG_REGISTRY_INTERNAL_H
#define KXSUPP_CONFIG_REGISTRY_INTERNAL_H

#include <cstddef>

namespace kx {

// Turns the process-wide cache of parsed profile files on (the default) or
// off. With the cache off every read scans the file line by line with fgets.
void profile_cache_enable(bool on);

// Forgets every cached file.
void profile_cache_clear();

// Number of reads answered from the cache since the process started (a
// counter for tests that check that a changed file is read again).
unsigned long profile_cache_hits();

// Forgets the cached form of the file at path (after a write).
void profile_forget(const char *path);

// The file a write to path goes to: path itself, or the file a symbolic
// link at path leads to (set_profile_string's rule), into out.
void profile_write_target(const char *path, char *out, size_t size);

}  // namespace kx

#endif
