/*
 * kxsupp/config.h - the profile file, connection strings and cursor names.
 */
#ifndef KXSUPP_CONFIG_H
#define KXSUPP_CONFIG_H

#include "kxsupp/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- registry: the profile file ---- */

/* ---- end registry ---- */

/* ---- connfunc: connection strings ---- */

/* ---- end connfunc ---- */

/* ---- cursor: cursor names ---- */

/* ---- end cursor ---- */

#ifdef __cplusplus
}
#endif

#endif /* KXSUPP_CONFIG_H */
