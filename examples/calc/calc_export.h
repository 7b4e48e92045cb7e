// Export macro of the calculator example library.
#ifndef ZUBJEX_EXAMPLES_CALC_CALC_EXPORT_H_
#define ZUBJEX_EXAMPLES_CALC_CALC_EXPORT_H_

#define CALC_EXPORT __attribute__((visibility("default")))

#endif  // ZUBJEX_EXAMPLES_CALC_CALC_EXPORT_H_
