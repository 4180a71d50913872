// SCC_Event.cpp - the out-of-line parts of the notifier and the int instantiation of the chain.
#include "sccevent.h"

// Instantiated here in full so that every member of the int chain is compiled with the library.
template class SCC_EventNode<int>;
template class SCC_Event<int>;
template class SCC_EventHook<int>;

// Out of line so that the notifier's virtual table has one home, in the library.
SCC_Notifier::~SCC_Notifier() = default;
