#pragma once

#include "protocol/Line.h"

#include <QString>

#include <optional>

/// What is to be done after a step or a reply: a plain value. `DialogBootload::Apply` does it and
/// has the order.
struct Effect
{
    std::optional<protocol::Line> line = {}; ///< to be sent with its checksum
    QByteArrayView plainLine = {}; ///< to be sent without one; empty: none
    bool closeAfterSending = false; ///< close the port once its last line has left
    std::optional<qint32> reopenAt = {}; ///< open the port again at this speed, in baud
    bool stepAllPorts = false; ///< let the session of every port take a step at once
    QString report = {}; ///< for the log that the user sees; empty: nothing
    std::optional<int> programProgress = {}; ///< 0 to `firmwareProgressSteps()`
    /// Bytes of the images that are done; while the firmware is read back, on the firmware's scale.
    std::optional<int> imageProgress = {};
    std::optional<QString> unitVersion = {}; ///< the version that the board's application reports
    QByteArrayView passedOver = {}; ///< why the reply is ignored; empty: it is not
};

/// What follows when a transfer is complete.
enum class Follows {
    Nothing, ///< it is not complete
    Images,
    Versions, ///< dormant
    Finish,
};

/// The result of a step or a reply.
struct Outcome
{
    Effect effect = {};
    Follows follows = Follows::Nothing;
};

/// The result of a reply that is ignored; `reason` goes to the debug log.
[[nodiscard]] inline Outcome passOver(QByteArrayView reason)
{
    return {.effect = {.passedOver = reason}};
}
