// The foundation library: status reporting, vectors, text, locks, date and
// time, files and streams, dynamic libraries, the registry and small platform
// services. Include this header for all of it.
#pragma once

#include "nev/codes.h"
#include "nev/export.h"
#include "nev/file.h"
#include "nev/library.h"
#include "nev/locks.h"
#include "nev/messages.h"
#include "nev/registry.h"
#include "nev/status.h"
#include "nev/stream.h"
#include "nev/strings.h"
#include "nev/system.h"
#include "nev/time.h"
#include "nev/tokeniser.h"
#include "nev/types.h"
#include "nev/vector.h"
