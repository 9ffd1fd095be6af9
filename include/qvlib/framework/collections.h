// The framework's containers; each family has a header of its own.
#pragma once

#include "qvlib/framework/array.h"
#include "qvlib/framework/list.h"
#include "qvlib/framework/map.h"
