#include "server/detail/connection_slots.h"

#include <algorithm>
#include <utility>

zubJexConnectionSlots::zubJexConnectionSlots(int maxConnections)
    : max_(std::max(maxConnections, 1)) {}

void zubJexConnectionSlots::open() {
  std::lock_guard<std::mutex> lock(mutex_);
  closed_ = false;
}

bool zubJexConnectionSlots::admit(const std::shared_ptr<zubJexSlotMember>& member,
                                  std::shared_ptr<zubJexSlotMember>& evicted) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (closed_) return false;
  if (count_ >= max_) {
    if (waiting_.empty()) return false;
    evicted = unlinkWaiting(*waiting_.front());
    evicted->state_ = zubJexSlotMember::kOut;
    --count_;
  }
  ++count_;
  member->state_ = zubJexSlotMember::kWaiting;
  member->waitingAt_ = waiting_.insert(waiting_.end(), member);
  return true;
}

bool zubJexConnectionSlots::startWaiting(const std::shared_ptr<zubJexSlotMember>& member) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (member->state_ != zubJexSlotMember::kBusy || closed_) return false;
  member->state_ = zubJexSlotMember::kWaiting;
  member->waitingAt_ = waiting_.insert(waiting_.end(), member);
  return true;
}

bool zubJexConnectionSlots::stopWaiting(zubJexSlotMember& member) {
  std::shared_ptr<zubJexSlotMember> unlinked;  // dropped after the lock
  std::lock_guard<std::mutex> lock(mutex_);
  if (member.state_ != zubJexSlotMember::kWaiting) return false;
  unlinked = unlinkWaiting(member);
  member.state_ = zubJexSlotMember::kBusy;
  return true;
}

void zubJexConnectionSlots::release(zubJexSlotMember& member) {
  std::shared_ptr<zubJexSlotMember> unlinked;  // dropped after the lock
  std::lock_guard<std::mutex> lock(mutex_);
  if (member.state_ == zubJexSlotMember::kOut) return;
  if (member.state_ == zubJexSlotMember::kWaiting) unlinked = unlinkWaiting(member);
  member.state_ = zubJexSlotMember::kOut;
  --count_;
}

std::vector<std::shared_ptr<zubJexSlotMember>> zubJexConnectionSlots::close() {
  std::lock_guard<std::mutex> lock(mutex_);
  closed_ = true;
  std::vector<std::shared_ptr<zubJexSlotMember>> out(waiting_.begin(), waiting_.end());
  for (const std::shared_ptr<zubJexSlotMember>& member : out) {
    member->state_ = zubJexSlotMember::kOut;
    --count_;
  }
  waiting_.clear();
  return out;
}

int zubJexConnectionSlots::count() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return count_;
}

std::shared_ptr<zubJexSlotMember> zubJexConnectionSlots::unlinkWaiting(zubJexSlotMember& member) {
  std::shared_ptr<zubJexSlotMember> unlinked = std::move(*member.waitingAt_);
  waiting_.erase(member.waitingAt_);
  return unlinked;
}
