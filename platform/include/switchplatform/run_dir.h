// Where the sockets and the shared page of one switch are: its run directory.
#ifndef SWITCHPLATFORM_RUN_DIR_H
#define SWITCHPLATFORM_RUN_DIR_H

#ifdef __cplusplus
extern "C" {
#endif

// Names the run directory of this process; "/run/switchd" until then. Connections and the page of another directory are
// dropped. Returns 0, or -1 with `errno` ENAMETOOLONG when a socket in it could not be named.
int platform_set_run_dir(const char *path);

// The run directory in force; never null.
const char *platform_run_dir(void);

#ifdef __cplusplus
}
#endif

#endif
