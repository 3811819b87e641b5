#pragma once

#include "protocol/WireText.h"

/// Field `index` of the reply `line`, cut at 64 characters; empty when it is absent. The result
/// points into `line`.
[[nodiscard]] inline QByteArrayView fieldText(QByteArrayView line, int index)
{
    constexpr qsizetype kMaxFieldLength = 64;
    const QByteArrayView text = protocol::field(line, index).value_or(QByteArrayView(""));
    return text.first(qMin(text.size(), kMaxFieldLength));
}
