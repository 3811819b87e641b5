#pragma once

#include "protocol/Line.h"

/// The line that hands the board `bytes` of a page for flash address `address`; the line names the
/// offset within the page.
[[nodiscard]] protocol::Line dataLine(qint32 address, QByteArrayView bytes);

/// The line that carries block `number` of an image, counted from 0: `bytes`, at most 256.
[[nodiscard]] protocol::Line blockLine(qint32 number, QByteArrayView bytes);
