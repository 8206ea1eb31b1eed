#include "platform/client/core/keeping.h"

bool keeping_is_off = false;
