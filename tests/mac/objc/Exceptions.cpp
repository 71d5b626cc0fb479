#include <unwind.h>

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the compiler's names
extern "C" _Unwind_Reason_Code __gxx_personality_v0(int version, _Unwind_Action actions,
                                                    _Unwind_Exception_Class kind,
                                                    _Unwind_Exception* exception,
                                                    _Unwind_Context* context);

// Objective-C++ functions take part in unwinding as C++ functions do: only C++ exceptions are used.
extern "C" _Unwind_Reason_Code __gnustep_objcxx_personality_v0(int version, _Unwind_Action actions,
                                                               _Unwind_Exception_Class kind,
                                                               _Unwind_Exception* exception,
                                                               _Unwind_Context* context) {
    return __gxx_personality_v0(version, actions, kind, exception, context);
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
