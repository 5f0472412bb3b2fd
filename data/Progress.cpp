#include "data/Progress.h"

#include <algorithm>

QString ProgressSteps::caption(int percent) {
    return QStringLiteral("Please wait... (%1% Complete)").arg(percent);
}

void ProgressSteps::begin(const QString& title, int total) {
    total_ = static_cast<qint16>(total);
    done_ = 0;
    if (!view_)
        return;
    view_->showProgress(title);
    view_->setProgress(0, caption(0));
}

void ProgressSteps::step(int divisor) {
    ++done_;
    if (!view_ || total_ <= 0)
        return;
    const double share = double(done_) / total_ / std::max(divisor, 1) * 100;
    const int percent = std::min(int(share), 100);
    view_->setProgress(percent, caption(percent));
}

void ProgressSteps::end() {
    total_ = 0;
    done_ = 0;
    if (view_)
        view_->hideProgress();
}
