// OpenSSL's libcrypto, loaded when the agent first needs it.
//
// An agent that serves only v1 and v2c never derives a key or checks a
// MAC, so it never maps libcrypto: linking it would cost about 1.5 MB of
// resident memory (its pages and relocations) and setting it up another
// 2 MB, several times the rest of the agent.  The first v3 key, MAC or
// cipher loads the library and sets it up; from then on every digest and
// cipher goes through OpenSSL's EVP interface (and, for single DES, its
// low-level DES functions) as usual, through the table below.
#ifndef USM_CRYPTO_LIBRARY_H_
#define USM_CRYPTO_LIBRARY_H_

// Single DES exists only in the deprecated low-level interface; its EVP form
// would need the legacy provider, which the agent does not load.
#ifndef OPENSSL_SUPPRESS_DEPRECATED
#define OPENSSL_SUPPRESS_DEPRECATED
#endif
#include <openssl/crypto.h>
#include <openssl/des.h>
#include <openssl/evp.h>

// Every libcrypto function the agent calls.
// clang-format off
#define SARN_CRYPTO_FUNCTIONS(X) \
  X(OPENSSL_init_crypto) \
  X(CRYPTO_memcmp) \
  X(EVP_md5) \
  X(EVP_sha1) \
  X(EVP_sha224) \
  X(EVP_sha256) \
  X(EVP_sha384) \
  X(EVP_sha512) \
  X(EVP_MD_get_block_size) \
  X(EVP_MD_CTX_new) \
  X(EVP_MD_CTX_free) \
  X(EVP_MD_CTX_copy_ex) \
  X(EVP_DigestInit_ex) \
  X(EVP_DigestUpdate) \
  X(EVP_DigestFinal_ex) \
  X(EVP_Digest) \
  X(EVP_aes_128_cfb128) \
  X(EVP_aes_192_cfb128) \
  X(EVP_aes_256_cfb128) \
  X(EVP_CIPHER_CTX_new) \
  X(EVP_CIPHER_CTX_free) \
  X(EVP_CipherInit_ex) \
  X(EVP_CipherUpdate) \
  X(DES_key_sched) \
  X(DES_ncbc_encrypt)
// clang-format on

// The functions, by their OpenSSL names and types: crypto->EVP_DigestUpdate(...).
struct CryptoLibrary {
#define SARN_CRYPTO_MEMBER(name) decltype(&::name) name;
  SARN_CRYPTO_FUNCTIONS(SARN_CRYPTO_MEMBER)
#undef SARN_CRYPTO_MEMBER
};

// The library, loaded and set up on the first call: without reading the
// system's openssl.cnf (the algorithms are fixed by the `methods` and
// `protocols` tables) and without loading every cipher, digest and error
// string up front.  Null when it can't be loaded or set up; the reason is
// written to standard error once, and every later call answers null at
// once (v3 users then can't authenticate; v1 and v2c are unaffected).
const CryptoLibrary* cryptoLibrary();

#endif  // USM_CRYPTO_LIBRARY_H_
