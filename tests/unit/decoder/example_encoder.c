#include <stddef.h>
#include <stdint.h>

struct frame_writer {
  uint8_t *next;
  uint32_t fcs;
};

static void put_octet(struct frame_writer *writer, uint8_t octet) {
  writer->fcs ^= octet;
  for (int bit = 0; bit < 8; ++bit) {
    writer->fcs = (writer->fcs >> 1) ^ ((writer->fcs & 1u) != 0 ? 0xEDB88320u : 0u);
  }
  if (octet == 0x7E || octet == 0x7D) {
    *writer->next++ = 0x7D;
    octet = (uint8_t)(octet ^ 0x20);
  }
  *writer->next++ = octet;
}

static void put_integer(struct frame_writer *writer, uint64_t value, int octets) {
  for (; octets > 0; --octets, value >>= 8) {
    put_octet(writer, (uint8_t)value);
  }
}

/* Writes one frame of at most 2 * (size + 21) + 2 bytes to `out`; returns its length. */
size_t encode_frame(uint8_t *out, uint32_t master_id, uint32_t sequence, uint64_t nanoseconds,
                    const uint8_t *payload, size_t size) {
  struct frame_writer writer = {out, 0xFFFFFFFFu};
  *writer.next++ = 0x7E;
  put_integer(&writer, 1, 1);
  put_integer(&writer, master_id, 4);
  put_integer(&writer, sequence, 4);
  put_integer(&writer, nanoseconds, 8);
  for (size_t i = 0; i < size; ++i) {
    put_octet(&writer, payload[i]);
  }
  put_integer(&writer, writer.fcs ^ 0xFFFFFFFFu, 4);
  *writer.next++ = 0x7E;
  return (size_t)(writer.next - out);
}
