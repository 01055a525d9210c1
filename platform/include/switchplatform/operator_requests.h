// Requests of an operator's command, which can be told from those of an agent.
#ifndef SWITCHPLATFORM_OPERATOR_REQUESTS_H
#define SWITCHPLATFORM_OPERATOR_REQUESTS_H

#ifdef __cplusplus
extern "C" {
#endif

// From now on requests of this process say that they are an operator's: a fault that was switched on for others leaves
// them alone.
void platform_operator_requests(void);

#ifdef __cplusplus
}
#endif

#endif
