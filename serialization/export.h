// Export macro of the zubjex library. The library is built with hidden visibility;
// only what carries this macro is part of its interface.
#ifndef ZUBJEX_SERIALIZATION_EXPORT_H_
#define ZUBJEX_SERIALIZATION_EXPORT_H_

#define ZUBJEX_EXPORT __attribute__((visibility("default")))

#endif  // ZUBJEX_SERIALIZATION_EXPORT_H_
