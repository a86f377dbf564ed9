#include "sandbox/VirtualTime.h"

#include <gtest/gtest.h>
