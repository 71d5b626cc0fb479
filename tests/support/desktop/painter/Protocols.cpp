// The protocols' own tables. Their generated sources are C, which is fine as C++ once what they
// define is declared.
#include "xdg-output-unstable-v1-client-protocol.h"
#include "xdg-shell-client-protocol.h"
// These come after it.
#include "xdg-output-unstable-v1-protocol.c"
#include "xdg-shell-protocol.c"
