#!/usr/bin/python3
"""A session manager (XSMP) for one program. Prints its SESSION_MANAGER address. When its standard input ends, the
desktop session ends: the program is asked to save and then to exit.
"""

import ctypes
import select
from ctypes import CFUNCTYPE, POINTER, byref, c_char_p, c_int, c_ulong, c_void_p

LOCAL, BOTH = 1, 2  # what to save: the program's state; also the user's data
ice, sm = ctypes.CDLL("libICE.so.6"), ctypes.CDLL("libSM.so.6")
sm.SmsGenerateClientID.restype = ice.IceAcceptConnection.restype = c_void_p
ice.IceComposeNetworkIdList.restype = c_char_p
Callback = CFUNCTYPE(c_int, c_void_p, c_void_p, c_void_p)
clients = []
ending = False


@Callback
def register(client, _, previous):
    if previous:
        return 0  # an unknown client id; the program asks again without one
    clients.append(c_void_p(client))
    sm.SmsRegisterClientReply(clients[0], c_void_p(sm.SmsGenerateClientID(clients[0])))
    sm.SmsSaveYourself(clients[0], LOCAL, False, 0, 0)  # the protocol requires it first
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
while True:  # until the program exits, which ends this process too
    for source in select.select([ice.IceConnectionNumber(connection)] + [0] * (not ending), [], [])[0]:
        if source != 0:
            ice.IceProcessMessages(connection, None, None)
            continue
        ending = True
        sm.SmsSaveYourself(clients[0], BOTH, True, 0, 0)
