/* A client of a remote service in C: asks for the version, and for the projects
 * of every solution.
 *
 * usage: example_remote_client HOST:PORT
 *
 * Texts are GB2312, and are printed as they are. */
#include <stdio.h>

#include "rmt/rmt.h"

static int Fail(void) {
  fprintf(stderr, "%s\n", rmt_last_error());
  return 1;
}

static int PrintProjects(RemoteProxy* proxy, const char* solution) {
  char** const projects = rmt_get_projects2(proxy, solution);
  size_t i;
  if (projects == NULL) return Fail();
  printf("%s: %u projects\n", solution,
         (unsigned)rmt_string_array_count(projects));
  for (i = 0; i < rmt_string_array_count(projects); ++i)
    printf("  %s\n", rmt_string_array_item(projects, i));
  rmt_delete_string_array(projects);
  return 0;
}

static int AskService(RemoteProxy* proxy) {
  RemoteStringValue* const name = rmt_new_string_value();
  int32_t major_number = 0;
  int32_t minor_number = 0;
  char** solutions = NULL;
  size_t i;
  int result = 0;
  if (!rmt_get_version(proxy, name, NULL, &major_number, &minor_number, NULL)) {
    rmt_delete_string_value(name);
    return Fail();
  }
  printf("%s %d.%d, messages up to %d bytes\n", rmt_string_value_text(name),
         (int)major_number, (int)minor_number,
         (int)rmt_max_message_size(proxy));
  rmt_delete_string_value(name);

  solutions = rmt_get_solutions2(proxy);
  if (solutions == NULL) return Fail();
  for (i = 0; i < rmt_string_array_count(solutions) && result == 0; ++i)
    result = PrintProjects(proxy, rmt_string_array_item(solutions, i));
  rmt_delete_string_array(solutions);
  return result;
}

int main(int argc, char** argv) {
  RemoteCommunicator* communicator;
  RemoteProxyList* list;
  RemoteProxy* proxy;
  int result;
  if (argc != 2) {
    fprintf(stderr, "usage: %s HOST:PORT\n", argv[0]);
    return 2;
  }
  rmt_global_init();
  communicator = rmt_create_communicator();
  list = rmt_create_proxy_list(communicator);
  /* A program with a conf/client.xml says rmt_get_named_proxy here. */
  proxy = rmt_get_proxy2(list, argv[1], "tcp", "Svc", 10, 0, 2000);
  result = proxy == NULL ? Fail() : AskService(proxy);
  rmt_delete_proxy_list(list);
  rmt_delete_communicator(communicator);
  rmt_global_uninit();
  return result;
}
