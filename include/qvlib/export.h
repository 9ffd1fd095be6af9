// The marks of what is visible outside the shared library: QVLIB_API and QVLIB_LOCAL.
#pragma once

#include "qvlib/host/export.h"
