#include "usm/crypto_setup.h"

#include <openssl/crypto.h>

bool setUpCrypto() {
  return OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG | OPENSSL_INIT_NO_ADD_ALL_CIPHERS |
                                 OPENSSL_INIT_NO_ADD_ALL_DIGESTS |
                                 OPENSSL_INIT_NO_LOAD_CRYPTO_STRINGS,
                             nullptr) == 1;
}
