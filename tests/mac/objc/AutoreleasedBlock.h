#pragma once

namespace velmora::bridge {

/// An object with one reference for the caller that takes over the caller's reference to `block`,
/// so that a block can wait in an autorelease pool, which takes objects only.
void* makeBlockKeeper(void* block);

}  // namespace velmora::bridge
