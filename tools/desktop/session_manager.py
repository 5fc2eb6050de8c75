#!/usr/bin/python3
"""A session manager (XSMP) for one program. Prints the value of SESSION_MANAGER that leads to it. The end of its
standard input is the end of the desktop session: the program is to save, and to leave once it has.
"""

import ctypes
import select
from ctypes import CFUNCTYPE, POINTER, byref, c_char_p, c_int, c_ulong, c_void_p

LOCAL, BOTH = 1, 2  # what is saved: the program's own state, and the user's data as well
ice, sm = ctypes.CDLL("libICE.so.6"), ctypes.CDLL("libSM.so.6")
sm.SmsGenerateClientID.restype = ice.IceAcceptConnection.restype = c_void_p
ice.IceComposeNetworkIdList.restype = c_char_p
Callback = CFUNCTYPE(c_int, c_void_p, c_void_p, c_void_p)
clients = []
ending = False


@Callback
def register(client, _, previous):
    if previous:
        return 0  # it is from no session of ours; the program asks again without
    clients.append(c_void_p(client))
    sm.SmsRegisterClientReply(clients[0], c_void_p(sm.SmsGenerateClientID(clients[0])))
    sm.SmsSaveYourself(clients[0], LOCAL, False, 0, 0)  # so it begins
    return 1


@Callback
def saved(*_):
    (sm.SmsDie if ending else sm.SmsSaveComplete)(clients[0])
    return 1


@CFUNCTYPE(c_int, c_void_p, c_void_p, POINTER(c_ulong), POINTER(c_void_p * 20), c_void_p)
def new_client(client, _, mask, callbacks, reason):
    for place, callback in enumerate([register] + [ignore] * 4 + [saved] + [ignore] * 4):
        callbacks.contents[2 * place] = ctypes.cast(callback, c_void_p)
    mask[0] = 0x3FF  # all ten
    return 1


ignore = Callback(lambda *_: 1)
welcome = CFUNCTYPE(c_int, c_char_p)(lambda host: 1)
count, listeners = c_int(), POINTER(c_void_p)()
sm.SmsInitialize(b"tavro", b"1", new_client, None, welcome, 0, None)
ice.IceListenForConnections(byref(count), byref(listeners), 0, None)
listener = c_void_p(listeners[count.value - 1])  # the last is a local one
ice.IceSetHostBasedAuthProc(listener, welcome)
print(ice.IceComposeNetworkIdList(1, byref(listener)).decode(), flush=True)
connection = c_void_p(ice.IceAcceptConnection(listener, byref(c_int())))
while True:  # until the program is gone, which ends this process too
    for source in select.select([ice.IceConnectionNumber(connection)] + [0] * (not ending), [], [])[0]:
        if source != 0:
            ice.IceProcessMessages(connection, None, None)
            continue
        ending = True
        sm.SmsSaveYourself(clients[0], BOTH, True, 0, 0)
