#pragma once

#include <QByteArray>
#include <QByteArrayList>

#include <random>

/// A board that says anything: lines as they should be, lines that are nearly so, and garbage. The
/// same seed says the same again.
class HostileBoard
{
public:
    explicit HostileBoard(unsigned seed) : m_random(seed) { }

    /// The next reply, with its line end if it has one.
    QByteArray reply();

    /// From 0 to `limit` - 1.
    int below(int limit) { return static_cast<int>(m_random() % static_cast<unsigned>(limit)); }
    bool oneIn(int count) { return below(count) == 0; }

private:
    QByteArray validLine();
    QByteArray nearlyValidLine();
    QByteArray garbage();
    QByteArray word();
    QByteArray number();
    QByteArray readBack();
    QByteArray bytes(int count);
    QByteArray ended(QByteArray body);

    std::mt19937 m_random;
};
