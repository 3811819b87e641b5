#pragma once

#include "bootload/Effect.h"
#include "bootload/ImageFile.h"
#include "bootload/PortTest.h"

#include <QList>

/// The transfer of the images: announces one, sends its blocks, goes on to the next; or erases them
/// all. The state of a session is in its port.
class Images
{
public:
    /// `list`, the images to send, stays the caller's and outlives this object.
    explicit Images(const QList<ImageFile>& list) : m_list(list) { }

    /// Goes to the first image.
    static void Start(PortTest& port);
    [[nodiscard]] Outcome Step(PortTest& port) const;
    [[nodiscard]] Outcome GotIACK(PortTest& port, QByteArrayView line) const;
    [[nodiscard]] Outcome GotFACK(PortTest& port, QByteArrayView line) const;

    /// Starts to erase all images.
    static void StartErasing(PortTest& port);
    [[nodiscard]] static Effect StepErasing(PortTest& port);
    [[nodiscard]] static Outcome GotAACK(PortTest& port, QByteArrayView line);

    /// The bytes of all images before the one at `index`; of all for an index past the last.
    [[nodiscard]] int BytesBefore(qsizetype index) const;

private:
    [[nodiscard]] protocol::Line Header(PortTest& port) const;
    [[nodiscard]] protocol::Line Block(PortTest& port) const;
    [[nodiscard]] Follows BlockStored(PortTest& port) const;
    [[nodiscard]] Follows NextImage(PortTest& port) const;
    [[nodiscard]] int Progress(const PortTest& port) const;

    const QList<ImageFile>& m_list;
};
