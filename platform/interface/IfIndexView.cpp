#include "platform/interface/IfIndexView.h"

namespace Interface {

class IfIndexView::IntfReactor : public IntfStatus::NotifieeConst {
 public:
   IntfReactor(IfIndexView& view, const EthIntfStatus::PtrConst& status)
       : view_(view), status_(status) {
      notifierIs(status);
   }
   void onIfIndex() override { view_.place(status_); }
   // The directory's own notification removes this reactor; here the row only goes.
   void onZombie() override { view_.unplace(status_->intfId()); }
   const EthIntfStatus::PtrConst& status() const { return status_; }

 private:
   IfIndexView& view_;
   EthIntfStatus::PtrConst status_;
};

class IfIndexView::DirReactor : public EthIntfStatusDir::NotifieeConst {
 public:
   DirReactor(IfIndexView& view, const EthIntfStatusDir::PtrConst& dir) : view_(view) {
      notifierIs(dir);
   }
   void onIntfStatuskelImmediate() override {
      const auto dir = notifier();
      view_.reactors_.sweep(
          dir->intfStatusIteratorConst(),
          [this](const Velnet::IntfId& intf) { view_.intfIs(intf); },
          [&dir](const Velnet::IntfId& intf) { return dir->intfStatus(intf); },
          [this](const Velnet::IntfId& intf) { view_.remove(intf); });
   }
   void onIntfStatus(const Velnet::IntfId& intf) override { view_.intfIs(intf); }

 private:
   IfIndexView& view_;
};

IfIndexView::IfIndexView(EthIntfStatusDir::PtrConst dir) : dir_(std::move(dir)) {
   if (dir_) {
      dirReactor_ = std::make_unique<DirReactor>(*this, dir_);
   }
}

IfIndexView::~IfIndexView() {
   dirReactor_.reset();
   reactors_.clear();
}

void IfIndexView::intfIs(const Velnet::IntfId& intf) {
   const auto status = dir_->intfStatus(intf);
   if (!status) {
      remove(intf);
      return;
   }
   // A status entity put in place of another gets a reactor of its own; the old one's row
   // goes first.
   reactors_.watch(intf, status, *this, [this, &intf](IntfReactor&) { unplace(intf); });
   place(status);
}

void IfIndexView::place(const EthIntfStatus::PtrConst& status) {
   const std::int32_t ifIndex = status->ifIndex();
   const auto standing = placed_.find(status->intfId());
   if (standing != placed_.end() && standing->second == ifIndex) {
      return;
   }
   unplace(status->intfId());
   if (ifIndex > 0 && !byIfIndex_.find(ifIndex)) {
      byIfIndex_.assign(ifIndex, status);
      placed_[status->intfId()] = ifIndex;
   }
}

void IfIndexView::unplace(const Velnet::IntfId& intf) {
   const auto standing = placed_.find(intf);
   if (standing == placed_.end()) {
      return;
   }
   const std::int32_t freed = standing->second;
   byIfIndex_.erase(freed);
   placed_.erase(standing);
   // An interface that claimed the same ifIndex meanwhile takes it now.
   for (const auto& [other, reactor] : reactors_) {
      if (other != intf && reactor->status()->ifIndex() == freed && !placed_.count(other)) {
         byIfIndex_.assign(freed, reactor->status());
         placed_[other] = freed;
         return;
      }
   }
}

void IfIndexView::remove(const Velnet::IntfId& intf) {
   unplace(intf);
   reactors_.erase(intf);
}

}  // namespace Interface
