// Export macro of the zubjex_support library. The library is built with hidden
// visibility; only what carries this macro is part of its interface.
#ifndef ZUBJEX_SUPPORT_EXPORT_H_
#define ZUBJEX_SUPPORT_EXPORT_H_

#define ZUBJEX_SUPPORT_EXPORT __attribute__((visibility("default")))

#endif  // ZUBJEX_SUPPORT_EXPORT_H_
