#include <CoreGraphics/CoreGraphics.h>
#include <Foundation/Foundation.h>
#include <ImageIO/ImageIO.h>
#include <UniformTypeIdentifiers/UniformTypeIdentifiers.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "tests/mac/frameworks/FrameworkCalls.h"
#include "tests/mac/frameworks/MoreFoundation.h"
#include "tests/mac/frameworks/imaging/ImagingObjects.h"
#include "tests/mac/frameworks/imaging/ImagingScript.h"

using velmora::ImagingScript;
using velmora::FrameworkCalls::note;

@interface FakeCGImageDestination : NSObject
@end

@implementation FakeCGImageDestination {
  @public
    NSMutableData* _data;
    FakeCGImage* _image;
    NSDictionary* _properties;
}
@end

CGImageDestinationRef CGImageDestinationCreateWithData(CFMutableDataRef data, CFStringRef type,
                                                       std::size_t count, CFDictionaryRef options) {
    note("CGImageDestinationCreateWithData", ((__bridge NSString*)type).UTF8String, count,
         options == nullptr ? "without options" : "with options");
    if (ImagingScript::shared().makesNoDestination) {
        return nullptr;
    }
    FakeCGImageDestination* const made = [[FakeCGImageDestination alloc] init];
    made->_data = (__bridge NSMutableData*)data;
    return (__bridge_retained CGImageDestinationRef)made;
}

void CGImageDestinationAddImage(CGImageDestinationRef destination, CGImageRef image,
                                CFDictionaryRef properties) {
    FakeCGImageDestination* const made = (__bridge FakeCGImageDestination*)destination;
    made->_image = (__bridge FakeCGImage*)image;
    made->_properties = (__bridge NSDictionary*)properties;
    note("CGImageDestinationAddImage", made->_image.raster.width, made->_image.raster.height,
         "properties:", made->_properties.count);
}

bool CGImageDestinationFinalize(CGImageDestinationRef destination) {
    const ImagingScript& script = ImagingScript::shared();
    FakeCGImageDestination* const made = (__bridge FakeCGImageDestination*)destination;
    NSNumber* const quality =
        made->_properties[(__bridge NSString*)kCGImageDestinationLossyCompressionQuality];
    note("CGImageDestinationFinalize", "quality:", quality.doubleValue);
    if (script.failsToFinalize) {
        return false;
    }
    std::vector<std::uint8_t> jpeg = made->_image.raster.jpeg(quality.doubleValue);
    jpeg.resize(std::max(jpeg.size(), script.jpegBytes));
    [made->_data appendBytes:jpeg.data() length:jpeg.size()];
    return true;
}
