#include "errors/jex_exception.h"

#include <utility>

zubJEXException::zubJEXException(xstring message) : message(std::move(message)) {}
