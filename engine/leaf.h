// Leaf: a node of the MIB tree, answering the instances below one key.
//
// On entry ctx.name holds the leaf's key and ctx.oid the instance part of
// the request (for GETNEXT: empty when the request lies before the key;
// for SET: the full requested name, with the instance in the context's set
// suffix).  On success a leaf has written one binding's name and value into
// ctx.out; on failure it has written nothing.
#ifndef ENGINE_LEAF_H_
#define ENGINE_LEAF_H_

class Context;

class Leaf {
 public:
  // The instance ctx.oid exactly.
  virtual bool get(Context& ctx) = 0;
  // The first instance after ctx.oid.
  virtual bool getNext(Context& ctx) = 0;
  // Stores the binding's value (next in ctx.in) and echoes the name with
  // the value as read back.
  virtual bool set(Context& ctx) = 0;
  virtual ~Leaf() = default;
};

#endif  // ENGINE_LEAF_H_
