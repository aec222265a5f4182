#include "platform/barcode_observation.h"

#include <QStringList>

#include <algorithm>

namespace Platform {

std::vector<BarcodeObservation> inReadingOrder(std::vector<BarcodeObservation> observations)
{
    std::stable_sort(observations.begin(), observations.end(), [](const auto &a, const auto &b) {
        return a.position.boundingRect().top() < b.position.boundingRect().top();
    });
    // Cut the top-down sequence into rows: a code starts a new row when it begins below the middle of the
    // row's first code, so a slightly lower neighbour still counts as beside it.
    std::vector<BarcodeObservation> ordered;
    ordered.reserve(observations.size());
    auto rowStart = observations.begin();
    while (rowStart != observations.end()) {
        const QRect first = rowStart->position.boundingRect();
        const int rowMiddle = first.top() + first.height() / 2;
        auto rowEnd = std::find_if(rowStart, observations.end(),
                                   [&](const auto &o) { return o.position.boundingRect().top() > rowMiddle; });
        std::stable_sort(rowStart, rowEnd, [](const auto &a, const auto &b) {
            return a.position.boundingRect().left() < b.position.boundingRect().left();
        });
        std::move(rowStart, rowEnd, std::back_inserter(ordered));
        rowStart = rowEnd;
    }
    return ordered;
}

QString describe(const std::vector<BarcodeObservation> &observations)
{
    QStringList items;
    for (const BarcodeObservation &o : observations) {
        const QRect r = o.position.boundingRect();
        QString payload = QStringLiteral("<binary>");
        if (o.payload) {
            payload = *o.payload;
            payload.replace(u'\\', QStringLiteral("\\\\")).replace(u'"', QStringLiteral("\\\""));
            payload.replace(u'\n', QStringLiteral("\\n")).replace(u'\r', QStringLiteral("\\r"));
            payload = u'"' + payload + u'"';
        }
        items.push_back(QStringLiteral("%1 %2 at (%3, %4 %5x%6)")
                            .arg(o.symbology, payload)
                            .arg(r.x())
                            .arg(r.y())
                            .arg(r.width())
                            .arg(r.height()));
    }
    return u'[' + items.join(QStringLiteral(", ")) + u']';
}

} // namespace Platform
