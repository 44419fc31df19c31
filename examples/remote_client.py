#!/usr/bin/env python3
"""A client of a remote service in Python, through ctypes.

usage: remote_client.py LIBRARY HOST:PORT

LIBRARY is libkivcorelib10.so.10. The same as remote_client.c.
"""
import ctypes
import sys

GB = "gbk"  # the local encoding: GB2312 with the repertoire of code page 936

library = ctypes.CDLL(sys.argv[1])
Handle = ctypes.c_void_p
Text = ctypes.c_char_p
Int = ctypes.c_int32


def declare(name, result, *parameters):
    """Without it ctypes cuts pointers to 32 bits."""
    function = getattr(library, name)
    function.restype = result
    function.argtypes = parameters
    return function


global_init = declare("rmt_global_init", None)
global_uninit = declare("rmt_global_uninit", None)
create_communicator = declare("rmt_create_communicator", Handle)
delete_communicator = declare("rmt_delete_communicator", None, Handle)
create_proxy_list = declare("rmt_create_proxy_list", Handle, Handle)
delete_proxy_list = declare("rmt_delete_proxy_list", None, Handle)
get_proxy2 = declare("rmt_get_proxy2", Handle, Handle, Text, Text, Text, Int,
                     Int, Int)
last_error = declare("rmt_last_error", Text)
max_message_size = declare("rmt_max_message_size", Int, Handle)
get_version = declare("rmt_get_version", ctypes.c_bool, Handle, Handle, Handle,
                      ctypes.POINTER(Int), ctypes.POINTER(Int),
                      ctypes.POINTER(Int))
get_solutions = declare("rmt_get_solutions2", Handle, Handle)
get_projects = declare("rmt_get_projects2", Handle, Handle, Text)
array_count = declare("rmt_string_array_count", ctypes.c_size_t, Handle)
array_item = declare("rmt_string_array_item", Text, Handle, ctypes.c_size_t)
delete_array = declare("rmt_delete_string_array", None, Handle)
new_value = declare("rmt_new_string_value", Handle)
value_text = declare("rmt_string_value_text", Text, Handle)
delete_value = declare("rmt_delete_string_value", None, Handle)


def checked(result):
    if not result:
        raise RuntimeError(last_error().decode(GB))
    return result


def texts(array):
    """The texts of an array that a call gave, which is released."""
    checked(array)
    try:
        return [array_item(array, i).decode(GB)
                for i in range(array_count(array))]
    finally:
        delete_array(array)


def ask(proxy):
    name = new_value()
    major, minor = Int(), Int()
    try:
        checked(get_version(proxy, name, None, major, minor, None))
        print(f"{value_text(name).decode(GB)} {major.value}.{minor.value}, "
              f"messages up to {max_message_size(proxy)} bytes")
    finally:
        delete_value(name)
    for solution in texts(get_solutions(proxy)):
        projects = texts(get_projects(proxy, solution.encode(GB)))
        print(f"{solution}: {len(projects)} projects")
        for project in projects:
            print(" ", project)


def main():
    global_init()
    communicator = create_communicator()
    proxies = create_proxy_list(communicator)
    try:
        ask(checked(get_proxy2(proxies, sys.argv[2].encode(GB), b"tcp", b"Svc",
                               10, 0, 2000)))
    finally:
        delete_proxy_list(proxies)
        delete_communicator(communicator)
        global_uninit()


main()
