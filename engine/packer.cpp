#include "engine/packer.h"

#include <iostream>

OID Packer::getAsKey(Data const*) {
  std::cerr << "BUG: Packer::getAsKey called" << std::endl;
  return OID();
}

OID Packer::setFromKey(Data*, OID const&) {
  std::cerr << "BUG: Packer::setFromKey called" << std::endl;
  return OID();
}
