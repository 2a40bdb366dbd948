// The frameworks with workers of their own, which are started once and sleep when there is nothing
// to do: "pushpool" (work stealing) and "taskqueue" (one queue for all).
//
// A thread that shares a loop puts a node for it into a queue and runs chunks of it. Other threads
// find the node there, oldest first, and run chunks too; whoever claims the last one takes the node
// out of the queue. Then the owner waits for those who are still inside.
//
//   queues   "pushpool": one per worker, and one for the threads from outside. Own nodes go to the
//            end of the own queue, others take from its front, where the largest are. "taskqueue":
//            one for all. Each has a lock, held for a few instructions and, in a queue per worker,
//            rarely contended.
//   helping  Nodes form a tree: a node's parent is the one whose chunk made it. A thread that waits
//            for a node meanwhile runs chunks of nodes below it, and of no others. Hence
//            (1) a stack is never deeper than the tree: what runs on top of a wait lies below it;
//            (2) no lock or resource that the waiting thread holds can be wanted by what it runs,
//                unless that code would deadlock on one thread too;
//            (3) a wait never grows by unrelated work.
//            This is the condition of leapfrogging [Wagner, Calder: Leapfrogging, 1993], applied to
//            all descendants instead of the thief's own tasks.
//   sleeping A thread that finds nothing looks on for a while, then puts itself on the list of
//            sleepers, looks once more, and sleeps. Whoever adds a node, or is the last to leave
//            one, looks at the number of sleepers after that. Both in one total order (the
//            sequentially consistent default of atomics): one of the two notices the other. A
//            thread that is woken for a node wakes two more, so that many are up in few steps.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "parallel/linked_list.h"
#include "parallel/loop_context.h"

namespace nmp::parallel {

class WorkPool final : public LoopContext {
 public:
  enum class Queues { kOne, kOnePerThread };

  /// Starts threads - 1 workers. Warns when there are fewer; throws
  /// ResourceAcquisitionFailedException when there is none.
  WorkPool(std::string key, unsigned threads, Queues queues);
  /// No loop may be running.
  ~WorkPool() override;

 protected:
  void share(Loop& loop) override;

 private:
  struct Node;
  struct Sleeper;
  struct Queue;
  /// A chunk of a node that this thread has claimed.
  struct Claim {
    Node* node = nullptr;
    std::size_t chunk = 0;
  };

  void start_workers(unsigned count);
  void worker(unsigned queue);

  void publish(Node& node);
  void retract(Node& node);
  Claim take(Queue& queue, const Node* within);
  Claim take(const Node* within);
  void run(const Claim& claim);
  /// Runs what may be run while waiting for `within` (null: anything) until `done`.
  template <typename Done>
  void work_until(const Node* within, const Done& done);

  template <typename Done>
  Claim sleep(const Node* within, const Done& done);

  template <typename Which>
  void wake(std::size_t most, const Which& which);
  void wake_for(const Node& node);

  const std::size_t queue_count_;
  const std::unique_ptr<Queue[]> queues_;
  std::mutex sleep_lock_;
  LinkedList<Sleeper> sleepers_;  ///< under `sleep_lock_`
  std::atomic<unsigned> sleeping_{0};
  std::atomic<bool> stopping_{false};
  std::vector<std::thread> workers_;
};

}  // namespace nmp::parallel
