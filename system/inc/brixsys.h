// brixsys.h - umbrella header: includes every public header of the library.
#pragma once

#include "brixexport.h"
#include "ssmcheck.h"
