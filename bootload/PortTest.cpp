#include "bootload/PortTest.h"

PortTest::~PortTest() = default;
