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
    if (firstWaiting_ == nullptr) return false;
    evicted = unlinkWaiting(*firstWaiting_);
    evicted->state_ = zubJexSlotMember::kOut;
    --count_;
  }
  ++count_;
  member->state_ = zubJexSlotMember::kWaiting;
  linkWaiting(member);
  return true;
}

bool zubJexConnectionSlots::startWaiting(const std::shared_ptr<zubJexSlotMember>& member) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (member->state_ != zubJexSlotMember::kBusy || closed_) return false;
  member->state_ = zubJexSlotMember::kWaiting;
  linkWaiting(member);
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
  std::vector<std::shared_ptr<zubJexSlotMember>> out;
  while (firstWaiting_ != nullptr) {
    firstWaiting_->state_ = zubJexSlotMember::kOut;
    out.push_back(unlinkWaiting(*firstWaiting_));
    --count_;
  }
  return out;
}

int zubJexConnectionSlots::count() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return count_;
}

void zubJexConnectionSlots::linkWaiting(const std::shared_ptr<zubJexSlotMember>& member) {
  member->waitingRef_ = member;
  member->previous_ = lastWaiting_;
  member->next_ = nullptr;
  (lastWaiting_ != nullptr ? lastWaiting_->next_ : firstWaiting_) = member.get();
  lastWaiting_ = member.get();
}

std::shared_ptr<zubJexSlotMember> zubJexConnectionSlots::unlinkWaiting(zubJexSlotMember& member) {
  (member.previous_ != nullptr ? member.previous_->next_ : firstWaiting_) = member.next_;
  (member.next_ != nullptr ? member.next_->previous_ : lastWaiting_) = member.previous_;
  member.previous_ = member.next_ = nullptr;
  return std::move(member.waitingRef_);
}
