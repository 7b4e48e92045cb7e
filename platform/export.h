// Export macro of the platform layer (the stand-in for the framework's object
// runtime and base library). The libraries are built with hidden visibility; only
// what carries this macro is part of their interface.
#ifndef ZUBJEX_PLATFORM_EXPORT_H_
#define ZUBJEX_PLATFORM_EXPORT_H_

#define ZUBPLATFORM_EXPORT __attribute__((visibility("default")))

#endif  // ZUBJEX_PLATFORM_EXPORT_H_
