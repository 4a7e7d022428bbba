// Work: one submitted unit of work as it travels through queues, the timer
// and the worker pool: a function, its context, and optionally the group it
// belongs to.
//
// A Work is a plain value that owns what it refers to (a block copy, a group
// membership) until run() or discard() consumes it; exactly one of the two
// must be called on every Work that was made, and neither twice.

#pragma once

#include <dispatch/base.h>

namespace harlune::dispatch {

class Group;

struct Work {
  dispatch_function_t function = nullptr;
  void* context = nullptr;
  // When set, the work is a member of this group, which it leaves once run.
  Group* group = nullptr;

  // Copies the block, so the caller's block may go out of scope.
  static Work from_block(dispatch_block_t block) noexcept;
  static Work from_function(void* context, dispatch_function_t function) noexcept;

  // Runs the work, then releases the block copy and leaves the group.
  void run() noexcept;
  // Gives up work that will never run: releases the block copy and leaves
  // the group without calling anything.
  void discard() noexcept;
};

}  // namespace harlune::dispatch
