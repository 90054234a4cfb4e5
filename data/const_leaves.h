// Scalars with a constant value: registered once, never read from the bus.
//
// Each call allocates a constant packer and a ScalarLeaf without a provider;
// both live for the whole run.  A SET on such a scalar is accepted, changes
// nothing and answers the constant.
#ifndef DATA_CONST_LEAVES_H_
#define DATA_CONST_LEAVES_H_

#include <string>

#include "asn1/oid.h"

// A number (INTEGER, TimeTicks, ... by tag) under key.
void addScalarConstNumLeaf(const OID& key, int value, unsigned tag);
// An object identifier under key.
void addScalarConstOIDLeaf(const OID& key, const OID& value, unsigned tag);
// An octet string (variable-length index form) under key.
void addScalarConstStringLeaf(const OID& key, const std::string& value, unsigned tag);

#endif  // DATA_CONST_LEAVES_H_
