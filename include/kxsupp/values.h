/*
 * kxsupp/values.h - the typed SQL value, its text forms, comparison, the
 * drivers' row-buffer form and long data.
 */
#ifndef KXSUPP_VALUES_H
#define KXSUPP_VALUES_H

#include "kxsupp/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- nodes: value and node constructors ---- */

/* A zero-filled block of size octets of a cached kind, its first word set
   to kind (and, for NODE_VALUE, its memory handle field set), or null. */
KX_API void *newNode(size_t size, uint32_t kind, MemHandle *handle);

/* ---- end nodes ---- */

/* ---- values: model and text forms ---- */

/* ---- end values ---- */

/* ---- values: comparison ---- */

/* ---- end comparison ---- */

/* ---- values: dm buffers ---- */

/* ---- end dm buffers ---- */

/* ---- longvar: long buffers ---- */

/* ---- end longvar ---- */

#ifdef __cplusplus
}
#endif

#endif /* KXSUPP_VALUES_H */
