#pragma once

/// What a skeleton makes of its ordered list of operations X(name, Request, Reply, effect): the
/// pair of virtual functions for each, of which the second delivers to the first.
#define KORVANE_DECLARE_OPERATION_PAIR(name, Request, Reply, effect) \
  virtual void name(Request request, Reply& reply) = 0;              \
  virtual void name(Request request, Reply& reply, const krv::rpc4::PeerInfo& peer);

/// The overriding declarations of an implementation; the other half of each pair stays visible.
#define KORVANE_OVERRIDE_OPERATION(name, Request, Reply, effect) \
  using Skeleton::name;                                          \
  void name(Request request, Reply& reply) override;
