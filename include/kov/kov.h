// The toolbox: typed properties and their lists, token replacement,
// diagnostics, plug-in hosting, service support and extended-precision
// integers. Include this header for all of it; each unit's own header says
// what it offers and how to use it.
#pragma once

#include "kov/bootstrap.h"
#include "kov/codes.h"
#include "kov/diag.h"
#include "kov/export.h"
#include "kov/ext_number.h"
#include "kov/health.h"
#include "kov/ip.h"
#include "kov/ordered_keys.h"
#include "kov/pattern.h"
#include "kov/plugin.h"
#include "kov/property.h"
#include "kov/property_list.h"
#include "kov/tokens.h"
#include "kov/type_id.h"
#include "kov/wstring.h"
