// What the agent extension tells the messaging library of the PDU that it serves: a PDU waits out one time-out,
// whatever it asks for.
#ifndef PLATFORM_MESSAGING_SERVED_PDU_SCOPE_H
#define PLATFORM_MESSAGING_SERVED_PDU_SCOPE_H

#ifdef __cplusplus
extern "C" {
#endif

// Exchanges from now on are those of the PDU with this number; 0: of none. Once an exchange of a PDU has timed out, the
// PDU's further ones with that receiver fail at once with ETIMEDOUT, and those with others do unless they answer
// promptly. Returns the number that held before.
int platform_exchanges_of_pdu(int number);

// How many exchanges this process began so far, modulo 2^32: two readings that differ tell that one was made in
// between.
unsigned platform_exchanges_begun(void);

// How many exchanges of this process came to nothing so far, modulo 2^32, and why the last one did, an `errno`.
typedef struct {
  unsigned count;
  int why;
} platform_failures;
platform_failures platform_exchanges_failed(void);

#ifdef __cplusplus
}
#endif

#endif
