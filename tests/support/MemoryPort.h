#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QSerialPort>

#include <algorithm>
#include <cstring>

/// A `Port` (QSerialPort or a class derived from it) without a device: a test puts in what arrives,
/// and what is written is kept. It opens unless `present` is false.
template <typename Port> class MemoryPort : public Port
{
public:
    MemoryPort() = default;
    ~MemoryPort() override { MemoryPort::close(); }
    MemoryPort(const MemoryPort&) = delete;
    MemoryPort& operator=(const MemoryPort&) = delete;

    bool open(QIODevice::OpenMode openMode) override
    {
        if (present)
            this->setOpenMode(openMode);
        return present;
    }
    /// Opens it even if `present` is false.
    void beOpen() { this->setOpenMode(QIODevice::ReadWrite); }
    void close() override { this->setOpenMode(QIODevice::NotOpen); }

    /// Lets `bytes` arrive at once.
    void arrive(QByteArrayView bytes)
    {
        m_arrived.append(bytes.data(), bytes.size());
        emit this->readyRead();
        m_arrived.clear();
    }

    /// False: the adapter is not there, and the port does not open.
    bool present = true;
    /// What each write was given.
    QByteArrayList written;

protected:
    qint64 readData(char* data, qint64 maxSize) override
    {
        const qint64 size = std::min<qint64>(maxSize, m_arrived.size());
        std::memcpy(data, m_arrived.constData(), static_cast<std::size_t>(size));
        m_arrived.remove(0, size);
        return size;
    }
    qint64 writeData(const char* data, qint64 size) override
    {
        written.append(QByteArray(data, size));
        return size;
    }

private:
    QByteArray m_arrived;
};
