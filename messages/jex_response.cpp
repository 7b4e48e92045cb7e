#include "messages/jex_response.h"

zubJexResponse::zubJexResponse() : kind(zubJexResponseNone), returnType(nullptr) {}

zubJexResponse::~zubJexResponse() = default;

void zubJexResponse::reset() {
  name = xstring();
  kind = zubJexResponseNone;
  object = xany::Uninit();
  faultCode = xstring();
  faultString = xstring();
  returnType = nullptr;
}
