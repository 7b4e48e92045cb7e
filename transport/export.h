// Export macro of the TCP transport library (zubjex_tcp). The library is built with
// hidden visibility; only what carries this macro is part of its interface.
#ifndef ZUBJEX_TRANSPORT_EXPORT_H_
#define ZUBJEX_TRANSPORT_EXPORT_H_

#define ZUBJEX_TCP_EXPORT __attribute__((visibility("default")))

#endif  // ZUBJEX_TRANSPORT_EXPORT_H_
