/*
 * kxsupp/functions.h - the ODBC scalar function catalogue and dispatch.
 */
#ifndef KXSUPP_FUNCTIONS_H
#define KXSUPP_FUNCTIONS_H

#include "kxsupp/common.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* KXSUPP_FUNCTIONS_H */
