/* The declarations of CoreFoundation's published C interface that this project
 * uses, and no more. */

#ifndef KORVA_COREFOUNDATION_H
#define KORVA_COREFOUNDATION_H

#include <stdint.h>

#if defined(__GNUC__)
#define CF_EXPORT __attribute__((visibility("default"))) extern
#else
#define CF_EXPORT extern
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef unsigned char Boolean;
typedef uint8_t UInt8;
typedef uint16_t UInt16;
typedef uint32_t UInt32;
typedef uint64_t UInt64;
typedef int32_t SInt32;
typedef UInt8 Byte;
typedef uint16_t UniChar;
typedef unsigned long ByteCount;
typedef unsigned long ItemCount;
typedef int32_t OSStatus;
typedef long CFIndex;
typedef UInt32 CFStringEncoding;

typedef const void* CFTypeRef;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFString* CFStringRef;
typedef const struct __CFURL* CFURLRef;
typedef struct __CFBundle* CFBundleRef;

typedef struct {
    CFIndex location;
    CFIndex length;
} CFRange;

static inline CFRange CFRangeMake(CFIndex location, CFIndex length)
{
    CFRange range;
    range.location = location;
    range.length = length;
    return range;
}

#define kCFAllocatorDefault ((CFAllocatorRef)0)
enum { kCFStringEncodingASCII = 0x0600, kCFStringEncodingUTF8 = 0x08000100 };

/* Every object that a "Create" or "Copy" function returns is the caller's to release. */
CF_EXPORT CFTypeRef CFRetain(CFTypeRef object);
CF_EXPORT void CFRelease(CFTypeRef object);

CF_EXPORT CFStringRef CFStringCreateWithCharacters(
    CFAllocatorRef allocator, const UniChar* characters, CFIndex count);
CF_EXPORT CFStringRef CFStringCreateWithCString(
    CFAllocatorRef allocator, const char* text, CFStringEncoding encoding);
CF_EXPORT CFIndex CFStringGetLength(CFStringRef string);
CF_EXPORT void CFStringGetCharacters(CFStringRef string, CFRange range, UniChar* buffer);

/* The string lives as long as the process. */
#define CFSTR(text) __CFStringMakeConstantString("" text "")
CF_EXPORT CFStringRef __CFStringMakeConstantString(const char* text);

/* The bundle of a loaded binary, or of the program, by the identifier in its
 * Info.plist; null where there is none. The caller does not own it. */
CF_EXPORT CFBundleRef CFBundleGetBundleWithIdentifier(CFStringRef identifier);
CF_EXPORT CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle);
CF_EXPORT Boolean CFURLGetFileSystemRepresentation(
    CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer, CFIndex bufferLength);

#ifdef __cplusplus
}
#endif

#endif
