#include "storage/strategy_store.h"

int32_t StoreIteration = 0;
