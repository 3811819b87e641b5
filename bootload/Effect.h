#pragma once

#include "protocol/Line.h"

#include <QString>

#include <optional>

/// What a step or a reply wants done. A plain value: whoever owns the port does it
/// (`DialogBootload::Apply`, which has the order).
struct Effect
{
    std::optional<protocol::Line> line = {}; ///< to be sent with its checksum
    QByteArrayView plainLine = {}; ///< to be sent without one; empty: none
    bool closeAfterSending = false; ///< close the port once what was sent on it has left
    std::optional<qint32> reopenAt = {}; ///< open the port again at this speed, in baud
    bool stepAllPorts = false; ///< let the session of every port take a step at once
    QString report = {}; ///< for the log that the user sees; empty: nothing
    std::optional<int> programProgress = {}; ///< 0 to `firmwareProgressSteps()`
    /// Bytes of all images that are through; on the firmware's scale while it is read back.
    std::optional<int> imageProgress = {};
    std::optional<QString> unitVersion = {}; ///< as the board's application says it
    QByteArrayView passedOver = {}; ///< why a reply leads to nothing; empty: it does not
};

/// What the job goes on with when a transfer is through.
enum class Follows {
    Nothing, ///< it is not
    Images,
    Versions, ///< dormant
    Finish,
};

/// What a transfer makes of a step or a reply.
struct Outcome
{
    Effect effect = {};
    Follows follows = Follows::Nothing;
};

/// Of a reply that leads to nothing, and why: for the debug log.
[[nodiscard]] inline Outcome passOver(QByteArrayView reason)
{
    return {.effect = {.passedOver = reason}};
}
