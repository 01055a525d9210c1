// Whether the state of configuration distribution is known to this process.
#ifndef PLATFORM_MESSAGING_CLIENT_DISTRIBUTION_CLIENT_H
#define PLATFORM_MESSAGING_CLIENT_DISTRIBUTION_CLIENT_H

// Whether the PDU at hand, or outside a PDU the last caller, asked for the state and was not told it. Whoever asked
// cannot tell then whether a pending or a running timer is wanted. Sets `*why` to the `errno` of the question.
bool distribution_is_unknown(int *why);

#endif
