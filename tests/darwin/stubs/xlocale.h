#pragma once
#include <locale.h>
