// The connection slots of the TCP server: how many connections it serves, and which of
// them wait for a request, longest waiting first, so that a new connection can take the
// slot of an idle one.
#ifndef ZUBJEX_SERVER_DETAIL_CONNECTION_SLOTS_H_
#define ZUBJEX_SERVER_DETAIL_CONNECTION_SLOTS_H_

#include <memory>
#include <mutex>
#include <vector>

// A connection as the slots see it. Its bookkeeping belongs to the slots and is guarded
// by their mutex.
class zubJexSlotMember {
 public:
  virtual ~zubJexSlotMember() = default;
  // Closes the connection later, on its own thread of execution; called from any
  // thread once the slots have put the member out.
  virtual void closeSoon() = 0;

 private:
  friend class zubJexConnectionSlots;
  enum State { kOut, kBusy, kWaiting };
  State state_ = kOut;
  // The waiting list runs through its members, so that waiting allocates nothing.
  zubJexSlotMember* previous_ = nullptr;
  zubJexSlotMember* next_ = nullptr;
  std::shared_ptr<zubJexSlotMember> waitingRef_;  // the list's reference while waiting
};

// Thread-safe. A member that has lost its slot (to make room, or because the slots
// closed) learns it from the false of its next startWaiting or stopWaiting and closes.
class zubJexConnectionSlots {
 public:
  // `maxConnections` below one counts as one.
  explicit zubJexConnectionSlots(int maxConnections);
  zubJexConnectionSlots(const zubJexConnectionSlots&) = delete;
  zubJexConnectionSlots& operator=(const zubJexConnectionSlots&) = delete;

  // Admits members again after close.
  void open();
  // Gives `member` (out of its slot, never null) a slot, as waiting for its first
  // request. When every slot is taken, the member that has waited longest loses its
  // slot and is returned in `evicted` for the caller to close. False, with nothing
  // changed, when every member is busy or the slots are closed.
  bool admit(const std::shared_ptr<zubJexSlotMember>& member,
             std::shared_ptr<zubJexSlotMember>& evicted);
  // `member` (busy) begins to wait for its next request; it is now the last to be put
  // out. False when it has lost its slot.
  bool startWaiting(const std::shared_ptr<zubJexSlotMember>& member);
  // A request of `member` has begun: busy members are never put out. False when it has
  // lost its slot.
  bool stopWaiting(zubJexSlotMember& member);
  // The connection of `member` has ended: its slot is free. Does nothing when it had
  // none.
  void release(zubJexSlotMember& member);
  // Admits nobody any more and puts every waiting member out, returning them for the
  // caller to close. Busy members keep their slots until they release them (their next
  // startWaiting fails).
  std::vector<std::shared_ptr<zubJexSlotMember>> close();

  // The members that hold a slot.
  int count() const;

 private:
  // Puts `member` at the end of the waiting list. The caller holds mutex_.
  void linkWaiting(const std::shared_ptr<zubJexSlotMember>& member);
  // Takes `member` out of the waiting list and returns the list's reference, which the
  // caller drops only after letting go of mutex_ (it may be the last). The caller holds
  // mutex_.
  std::shared_ptr<zubJexSlotMember> unlinkWaiting(zubJexSlotMember& member);

  const int max_;
  // Guards every field below and the state of every member.
  mutable std::mutex mutex_;
  bool closed_ = false;
  int count_ = 0;
  zubJexSlotMember* firstWaiting_ = nullptr;  // longest waiting first
  zubJexSlotMember* lastWaiting_ = nullptr;
};

#endif  // ZUBJEX_SERVER_DETAIL_CONNECTION_SLOTS_H_
