// brixsys.h - umbrella header: includes every public header of the library.
#pragma once

#include "brixexport.h"
#include "ssmcheck.h"

// Foundation: strings, failure reporting, arrays.
#include "sysstring.h"
#include "ssm.h"
#include "sccshared.h"
#include "scciterator.h"
#include "sccarray.h"

// Containers.
#include "sccslist.h"
#include "sccdlist.h"
#include "scchash.h"
#include "sccstack.h"

// Events, values, properties.
#include "sccevent.h"
#include "sccvariant.h"
#include "scccollection.h"
#include "sccproperty.h"
#include "sccconcentrator.h"

// Geometry and units.
#include "sysgeom.h"
#include "systransform.h"
#include "sysunits.h"
#include "sysgeomnode.h"
#include "sysstyle.h"
#include "sysfilter.h"

// Files and messages.
#include "sfmpath.h"
#include "sfmdir.h"
#include "sfm.h"
#include "sfmfile.h"
#include "sfmmsgdb.h"
#include "sfmproject.h"
#include "sfmlocale.h"

// Drawing.
#include "daregion.h"
#include "uidrawarea.h"
#include "uidrawing.h"
#include "uipalette.h"
#include "uicairo.h"
