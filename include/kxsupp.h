/*
 * kxsupp.h - libkxsupp, the support library of a family of ODBC drivers.
 * Including this header gives every public declaration.
 */
#ifndef KXSUPP_H
#define KXSUPP_H

#include "kxsupp/common.h"
#include "kxsupp/memory.h"
#include "kxsupp/diagnostics.h"
#include "kxsupp/config.h"
#include "kxsupp/values.h"
#include "kxsupp/arith.h"
#include "kxsupp/functions.h"
#include "kxsupp/parse.h"
#include "kxsupp/standard.h"
#include "kxsupp/version.h"

#endif /* KXSUPP_H */
