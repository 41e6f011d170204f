#pragma once

// Reaching down the stack is allowed.
#include "base/Clock.h"
#include "platform/Locations.h"
