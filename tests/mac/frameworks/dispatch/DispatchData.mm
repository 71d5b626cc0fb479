#include <dispatch/dispatch.h>

#include <cstdint>
#include <memory>
#include <vector>

/// Bytes of Dispatch's: its own copy, or somebody's memory until the destructor is called, or two
/// others one after the other.
@interface FakeDispatchData : NSObject <OS_dispatch_data>
@end

@implementation FakeDispatchData {
  @public
    std::vector<std::uint8_t> _copy;
    const void* _bytes;
    std::size_t _size;
    dispatch_block_t _destructor;
    FakeDispatchData* _first;
    FakeDispatchData* _second;
}
- (void)dealloc {
    if (_destructor != nil) {
        _destructor();
    }
}
@end

namespace {

bool apply(FakeDispatchData* data, std::size_t offset, dispatch_data_applier_t applier) {
    if (data->_first != nil) {
        return apply(data->_first, offset, applier) &&
               apply(data->_second, offset + data->_first->_size, applier);
    }
    return data->_size == 0 || applier(data, offset, data->_bytes, data->_size);
}

}  // namespace

dispatch_data_t dispatch_data_create(const void* buffer, std::size_t size,
                                     dispatch_queue_t /*queue*/, dispatch_block_t destructor) {
    FakeDispatchData* const made = [[FakeDispatchData alloc] init];
    made->_size = size;
    if (destructor == nil) {
        const auto* const bytes = static_cast<const std::uint8_t*>(buffer);
        made->_copy.assign(bytes, bytes + size);
        made->_bytes = made->_copy.data();
    } else {
        made->_bytes = buffer;
        made->_destructor = destructor;
    }
    return made;
}

dispatch_data_t dispatch_data_create_concat(dispatch_data_t first, dispatch_data_t second) {
    FakeDispatchData* const made = [[FakeDispatchData alloc] init];
    made->_first = static_cast<FakeDispatchData*>(first);
    made->_second = static_cast<FakeDispatchData*>(second);
    made->_size = made->_first->_size + made->_second->_size;
    return made;
}

bool dispatch_data_apply(dispatch_data_t data, dispatch_data_applier_t applier) {
    return apply(static_cast<FakeDispatchData*>(data), 0, applier);
}
