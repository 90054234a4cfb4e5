// ScalarLeaf: serves the single instance ".0" of a scalar object.
#ifndef ENGINE_SCALAR_LEAF_H_
#define ENGINE_SCALAR_LEAF_H_

#include "engine/leaf.h"

class DataProvider;
class Packer;

class ScalarLeaf : public Leaf {
 public:
  // Neither pointer is owned.  provider may be null: the packer then holds
  // a constant and is packed with a null record.
  ScalarLeaf(Packer* packer, DataProvider* provider);

  // Succeeds only for the instance 0 (ctx.oid == ZERO_OID) and only when
  // the provider has a record; answers key.0.
  bool get(Context& ctx) override;
  // Succeeds only when the request lies at or before the key (ctx.oid
  // empty): a scalar never follows its own instance.
  bool getNext(Context& ctx) override;
  // Any instance below the key reaches the scalar.  The decoded value is
  // not checked: the provider's set runs regardless, and only its refusal
  // (a read-only provider) fails the binding.  Without a provider the SET is
  // accepted, changes nothing and answers the constant.  The reply echoes
  // the requested name with the value as read back.
  bool set(Context& ctx) override;

 private:
  // Appends key.0 and the value; false when the provider has no record.
  bool answerInstance(Context& ctx);

  Packer* packer_;
  DataProvider* provider_;
};

#endif  // ENGINE_SCALAR_LEAF_H_
