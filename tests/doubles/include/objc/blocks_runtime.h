#pragma once

// Where GNUstep's headers look for the block runtime.
#include <Block.h>
