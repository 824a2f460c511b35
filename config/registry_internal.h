// Internal hooks of the profile store (config/registry.cpp), for the tests
// and the benchmark only. Not part of the public headers.
#ifndef KXSUPP_CONFIG_REGISTRY_INTERNAL_H
#define KXSUPP_CONFIG_REGISTRY_INTERNAL_H

namespace kx {

// Turns the process-wide cache of parsed profile files on (the default) or
// off. With the cache off every read scans the file line by line with fgets.
void profile_cache_enable(bool on);

// Forgets every cached file.
void profile_cache_clear();

// Number of reads answered from the cache since the process started (a
// counter for tests that check that a changed file is read again).
unsigned long profile_cache_hits();

}  // namespace kx

#endif
