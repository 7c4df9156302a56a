// The codes of results, which callers see too.
#pragma once

#include "nalvo/hresult.h"
