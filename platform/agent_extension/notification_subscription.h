// The agent's one subscription to the switch's notifications, on the agent's own loop.
#ifndef PLATFORM_AGENT_EXTENSION_NOTIFICATION_SUBSCRIPTION_H
#define PLATFORM_AGENT_EXTENSION_NOTIFICATION_SUBSCRIPTION_H

// Allows the subscription; it is made, and made again, while there is a handler for some notification.
void notification_subscription_start();

// Closes the connection and makes no other. Handlers stay with those who registered them, to be unregistered by them.
void notification_subscription_stop();

#endif
