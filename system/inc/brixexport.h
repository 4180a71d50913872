// brixexport.h - the export macro of the brixsys shared library.
#pragma once

// The library is built with hidden visibility; every public class and free
// function is marked with BRIX_API so that it alone is exported.
#define BRIX_API __attribute__((visibility("default")))
