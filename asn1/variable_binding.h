// VariableBinding: a name, a BER tag and the value as text, as notification
// sources produce them.  OutStream::addVarBind encodes one (see
// OutStream::addByType for how the text becomes a value of the tag).
#ifndef ASN1_VARIABLE_BINDING_H_
#define ASN1_VARIABLE_BINDING_H_

#include <string>

#include "asn1/oid.h"

struct VariableBinding {
  OID name;
  unsigned int type = 0;  // the BER tag to produce
  std::string value;      // the value as text
};

#endif  // ASN1_VARIABLE_BINDING_H_
