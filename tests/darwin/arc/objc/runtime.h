// What Foundation's headers want of the runtime's own, which are not for code with automatic reference counting.
#pragma once

#include <objc/objc.h>

#include <cstddef>
#include <cstdint>

typedef struct objc_method* Method;
typedef struct objc_ivar* Ivar;
