-- A store as the first switchd wrote it: schema version 1.
CREATE TABLE vsan (id INTEGER PRIMARY KEY, name TEXT NOT NULL, media_type INTEGER NOT NULL,
  admin_state INTEGER NOT NULL, mtu INTEGER NOT NULL, load_balancing INTEGER NOT NULL, interop INTEGER NOT NULL,
  inorder INTEGER NOT NULL,  drop_latency INTEGER NOT NULL);
CREATE TABLE interface (ifindex INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, vsan INTEGER NOT NULL,
  up INTEGER NOT NULL, is_static INTEGER NOT NULL);
CREATE TABLE timer (vsan INTEGER, key INTEGER, value INTEGER NOT NULL, PRIMARY KEY (vsan, key)) WITHOUT ROWID;
CREATE TABLE pending_timer (vsan INTEGER, key INTEGER, value INTEGER NOT NULL, PRIMARY KEY (vsan, key)) WITHOUT ROWID;
CREATE TABLE kept_out (vsan INTEGER PRIMARY KEY);
CREATE TABLE setting (name TEXT PRIMARY KEY, value NOT NULL) WITHOUT ROWID;
CREATE TABLE notification (number INTEGER PRIMARY KEY, id INTEGER NOT NULL, payload BLOB NOT NULL);
INSERT INTO vsan VALUES (1, 'default', 1, 1, 2112, 2, 100, 2, 2000), (40, 'kept-name', 1, 1, 2112, 2, 100, 2, 2000);
INSERT INTO interface VALUES (16777216, 'fc1/1', 40, 1, 1);
INSERT INTO timer VALUES (0, 7, 2000), (0, 8, 10000), (0, 9, 5000), (0, 10, 5000), (40, 7, 2600);
INSERT INTO setting VALUES ('changed_microseconds', 906228), ('changed_seconds', 1795318779),
  ('dropped_notifications', 0), ('inorder', 2), ('kdx_enabled', 0), ('kdx_session_open', 0),
  ('kdx_session_owner', ''), ('kdx_show_running', 0),
  ('last_notification', 0), ('network_latency', 2000), ('notifications', 1), ('store_id', 3318720948),
  ('switch_latency', 500), ('switch_name', 'core-a'), ('wwn', 2305845595056373761);
