// Export macro of the HTTP transport library (zubjex_http). The library is built with
// hidden visibility; only what carries this macro is part of its interface.
#ifndef ZUBJEX_HTTP_EXPORT_H_
#define ZUBJEX_HTTP_EXPORT_H_

#define ZUBJEX_HTTP_EXPORT __attribute__((visibility("default")))

#endif  // ZUBJEX_HTTP_EXPORT_H_
