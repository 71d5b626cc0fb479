#pragma once

// The part of the GNU Objective-C runtime's interface that GNUstep's headers name, in a form that
// automatic reference counting accepts: the runtime's own header reaches into objects.

#include <objc/objc.h>

#if defined(__cplusplus)
extern "C" {
#endif

typedef struct objc_ivar* Ivar;
typedef struct objc_method* Method;
typedef struct objc_property* objc_property_t;
typedef struct objc_property* Property;
struct objc_method_description {
    SEL name;
    char* types;
};

const char* class_getName(Class type);
Class class_getSuperclass(Class type);
Method class_getInstanceMethod(Class type, SEL selector);
IMP method_getImplementation(Method method);
const char* sel_getName(SEL selector);
SEL sel_registerName(const char* name);

#if defined(__cplusplus)
}
#endif
