// How the agent sets OpenSSL up.
#ifndef USM_CRYPTO_SETUP_H_
#define USM_CRYPTO_SETUP_H_

// Initialises OpenSSL's libcrypto for the agent's few algorithms: without
// reading the system's openssl.cnf (the algorithms are fixed by the
// `methods` and `protocols` tables) and without loading every cipher,
// digest and error string up front, which keeps about 600 KB out of the
// daemon's resident memory.  Takes effect only as the process's first use
// of OpenSSL: call it at start.  False when OpenSSL refuses.
bool setUpCrypto();

#endif  // USM_CRYPTO_SETUP_H_
