// The types of properties, which callers see too.
#pragma once

#include "nalvo/property_types.h"
