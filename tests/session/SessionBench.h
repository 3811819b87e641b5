#pragma once

#include "tests/session/BusFixture.h"

using SessionBench = BusFixture;
