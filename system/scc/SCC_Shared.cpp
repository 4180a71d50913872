// SCC_Shared.cpp - out-of-line members of SCC_SharedBuffer (its vtable lives here).
#include "sccshared.h"

SCC_SharedBuffer::~SCC_SharedBuffer() = default;
