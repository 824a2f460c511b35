/*
 * kxsupp/arith.h - exact decimals, operators, calendar, intervals and
 * time-outs.
 */
#ifndef KXSUPP_ARITH_H
#define KXSUPP_ARITH_H

#include "kxsupp/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- numeric: exact decimals ---- */

/* ---- end numeric ---- */

/* ---- evalnum, evalbig: arithmetic operators ---- */

/* ---- end operators ---- */

/* ---- jdn_l, timefunc: calendar ---- */

/* ---- end calendar ---- */

/* ---- evalint: interval and datetime arithmetic ---- */

/* ---- end evalint ---- */

/* ---- timeout, threads ---- */

/* ---- end timeout ---- */

#ifdef __cplusplus
}
#endif

#endif /* KXSUPP_ARITH_H */
