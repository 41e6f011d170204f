#pragma once

// A bottom helper that reaches up into the program's top: the order check must refuse it.
#include "core/AppState.h"
