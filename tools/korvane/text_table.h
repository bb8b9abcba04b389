#pragma once

#include "tools/korvane/terminal_text.h"  // IWYU pragma: export
