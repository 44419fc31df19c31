/* The remote client's headers and functions from C. */
#include <stddef.h>
#include <stdio.h>
#include <string.h>

#include "rmt/rmt.h"

#define CHECK(condition)                                      \
  do {                                                        \
    if (!(condition)) {                                       \
      fprintf(stderr, "line %d: %s\n", __LINE__, #condition); \
      return 1;                                               \
    }                                                         \
  } while (0)

/* Other languages have these as numbers. */
_Static_assert(sizeof(bool) == 1, "a byte");
_Static_assert(offsetof(RemoteServiceInfo, port) == 128, "fixed layout");
_Static_assert(offsetof(RemoteServiceInfo, svc) == 132, "fixed layout");
_Static_assert(offsetof(RemoteServiceInfo, project_key) == 260, "fixed layout");
_Static_assert(offsetof(RemoteServiceInfo, access_code) == 516, "fixed layout");
_Static_assert(offsetof(RemoteServiceInfo, engine_version) == 580,
               "fixed layout");
_Static_assert(sizeof(RemoteServiceInfo) == 588, "fixed layout");
_Static_assert(sizeof(RemoteProjectID) == 8, "two words");

int main(void) {
  RemoteCommunicator* communicator;
  RemoteProxyList* list;
  RemoteProxy* proxy;
  RemoteServiceInfo record;
  const int32_t slice_id[2] = {0, 7};

  rmt_global_init();
  communicator = rmt_create_communicator();
  CHECK(rmt_get_communicator(communicator) != NULL);
  list = rmt_create_proxy_list(communicator);
  CHECK(rmt_get_proxy_list_parent(list) == communicator);

  /* Nobody is asked. */
  proxy = rmt_get_proxy(list, "Host1", 10001, "Svc", 0, 0);
  CHECK(proxy != NULL);
  CHECK(rmt_get_proxy2(list, "host1:10001", "tcp", "Svc", 0, 0, 500) == proxy);
  CHECK(strcmp(rmt_get_proxy_ip(proxy), "Host1") == 0);
  CHECK(rmt_get_proxy_port(proxy) == 10001);
  CHECK(rmt_get_proxy_inner(proxy) != NULL);
  CHECK(rmt_member_project_id2(proxy, slice_id) == NULL);
  CHECK(rmt_member_project_id2(proxy, NULL) == NULL);

  memset(&record, 0, sizeof record);
  strcpy(record.ip, "LocalHost");
  rmt_fix_service_info(proxy, &record);
  CHECK(strcmp(record.ip, "Host1") == 0 && record.port == 10001);
  strcpy(record.ip, "other");
  record.port = 5;
  rmt_fix_service_info(proxy, &record);
  CHECK(strcmp(record.ip, "other") == 0 && record.port == 5);
  /* A text without an end is not read past its field. */
  memset(&record, 'x', sizeof record);
  rmt_fix_service_info(proxy, &record);
  CHECK(!rmt_get_proxy_from_info(list, &record, NULL));
  CHECK(rmt_last_error_code() == RMT_BAD_ARGUMENT);

  rmt_delete_proxy_list(list);
  rmt_delete_communicator(communicator);
  rmt_global_uninit();
  return 0;
}
