// Export macro of the reference server library (zubjex_server). The library is built
// with hidden visibility; only what carries this macro is part of its interface.
#ifndef ZUBJEX_SERVER_EXPORT_H_
#define ZUBJEX_SERVER_EXPORT_H_

#define ZUBJEX_SERVER_EXPORT __attribute__((visibility("default")))

#endif  // ZUBJEX_SERVER_EXPORT_H_
