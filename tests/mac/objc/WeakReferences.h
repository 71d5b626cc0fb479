#pragma once

namespace velmora::bridge {

/// Makes every object clear the weak references to it when its last strong one goes: once, before
/// the first object is made. Later calls do nothing.
void installWeakReferences();

}  // namespace velmora::bridge
