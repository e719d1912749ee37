/// \file
/// The CRC of Modbus RTU, for every test that makes or judges frames. It shares nothing with the driver's.
#ifndef SUPPORT_CRC_H
#define SUPPORT_CRC_H

namespace support {

/// CRC-16 of the bytes from `first` up to `last`, bit by bit: start 0xFFFF, polynomial 0xA001 reflected, no final XOR.
template <class ByteIterator> unsigned crc16(ByteIterator first, ByteIterator last) {
    unsigned crc = 0xFFFF;
    for (; first != last; ++first) {
        crc ^= static_cast<unsigned char>(*first);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1u) != 0 ? (crc >> 1) ^ 0xA001u : crc >> 1;
    }
    return crc;
}

/// As above, of all bytes of a container. 0 for a frame that ends with its right CRC.
template <class Frame> unsigned crc16(const Frame &frame) {
    return crc16(frame.begin(), frame.end());
}

/// `body` with its CRC appended, low byte first. For frames made in loops; a frame under test is written out.
template <class Frame> Frame with_crc(Frame body) {
    typedef typename Frame::value_type Byte;
    const unsigned crc = crc16(body);
    body.push_back(static_cast<Byte>(crc & 0xFFu));
    body.push_back(static_cast<Byte>(crc >> 8));
    return body;
}

}  // namespace support

#endif
