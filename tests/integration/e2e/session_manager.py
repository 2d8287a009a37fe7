"""A session manager of the X session management protocol, over the X Window System's own library.

    session_manager.py

Prints its address, then a line for each thing that a client does. "logout" on its standard input saves
the session and then ends it, as a desktop does when the user logs out.
"""
import ctypes
import select
import sys
from ctypes import CFUNCTYPE, POINTER, Structure, byref, c_char_p, c_int, c_ulong, c_void_p

ICE = ctypes.CDLL("libICE.so.6")
SM = ctypes.CDLL("libSM.so.6")
C = ctypes.CDLL(None)
C.strdup.restype = c_void_p
for function in (ICE.IceComposeNetworkIdList, ICE.IceAcceptConnection, ICE.IceGetListenConnectionNumber,
                 SM.SmsGetIceConnection, SM.SmsGenerateClientID):
    function.restype = c_void_p
ICE.IceGetListenConnectionNumber.restype = c_int

SAVE_LOCAL, SAVE_BOTH, INTERACT_NONE, INTERACT_ANY = 1, 2, 0, 2
RESTART_HINTS = ("if running", "anyway", "immediately", "never")


class Value(Structure):
    _fields_ = [("length", c_int), ("value", c_void_p)]


class Property(Structure):
    _fields_ = [("name", c_char_p), ("type", c_char_p), ("count", c_int), ("values", POINTER(Value))]


OnRegister = CFUNCTYPE(c_int, c_void_p, c_void_p, c_void_p)
OnNumber = CFUNCTYPE(None, c_void_p, c_void_p, c_int)
OnRequest = CFUNCTYPE(None, c_void_p, c_void_p)
OnSaveRequest = CFUNCTYPE(None, c_void_p, c_void_p, c_int, c_int, c_int, c_int, c_int)
OnClose = CFUNCTYPE(None, c_void_p, c_void_p, c_int, POINTER(c_char_p))
OnProperties = CFUNCTYPE(None, c_void_p, c_void_p, c_int, POINTER(POINTER(Property)))
OnNames = CFUNCTYPE(None, c_void_p, c_void_p, c_int, POINTER(c_char_p))


class Callbacks(Structure):
    """SmsCallbacks: each function with the data that it is given."""
    _fields_ = [field for name, kind in (
        ("register", OnRegister), ("interact_request", OnNumber), ("interact_done", OnNumber),
        ("save_yourself_request", OnSaveRequest), ("save_yourself_phase_2", OnRequest),
        ("save_yourself_done", OnNumber), ("close", OnClose), ("set_properties", OnProperties),
        ("delete_properties", OnNames), ("get_properties", OnRequest))
        for field in ((name, kind), (name + "_data", c_void_p))]


OnClient = CFUNCTYPE(c_int, c_void_p, c_void_p, POINTER(c_ulong), POINTER(Callbacks), POINTER(c_char_p))
OnAuthentication = CFUNCTYPE(c_int, c_char_p)
OnError = CFUNCTYPE(None, c_void_p)


def tell(*words):
    print(*words, flush=True)


class Manager:
    def __init__(self):
        self.clients = {} # by connection
        self.logging_out = False
        self.kept = [] # the functions that the library calls
        everybody = self.keep(OnAuthentication(lambda host: 1))
        failed = self.keep(OnError(self.connection_failed))
        ICE.IceSetIOErrorHandler(failed)
        error = ctypes.create_string_buffer(256)
        if not SM.SmsInitialize(b"test", b"1", self.keep(OnClient(self.on_client)), None, everybody, 256, error):
            raise OSError(error.value.decode())
        count, self.listening = c_int(), POINTER(c_void_p)()
        if not ICE.IceListenForConnections(byref(count), byref(self.listening), 256, error):
            raise OSError(error.value.decode())
        for i in range(count.value):
            ICE.IceSetHostBasedAuthProc(c_void_p(self.listening[i]), everybody)
        self.count = count.value
        addresses = ctypes.string_at(ICE.IceComposeNetworkIdList(count, self.listening)).decode()
        tell(next(address for address in addresses.split(",") if address.startswith("local/")))

    def keep(self, function):
        self.kept.append(function)
        return function

    def connection_failed(self, connection):
        # Called from within the processing of a message, which must not go on then.
        for client, other in list(self.clients.items()):
            if other == connection:
                del self.clients[client]
                tell("lost")

    def on_client(self, client, _, mask, callbacks, __):
        self.clients[client] = SM.SmsGetIceConnection(c_void_p(client))
        mask[0] = (1 << 10) - 1
        for name, handler in (("register", self.on_register), ("close", self.on_close),
                              ("save_yourself_done", self.on_saved), ("set_properties", self.on_properties)):
            setattr(callbacks[0], name, self.keep(dict(Callbacks._fields_)[name](handler)))
        for name, kind in Callbacks._fields_:
            if kind is not c_void_p and not getattr(callbacks[0], name):
                setattr(callbacks[0], name, self.keep(kind(lambda *_: None)))
        return 1

    def on_register(self, client, _, previous):
        if not previous: # refused, the client asks for a new one
            SM.SmsRegisterClientReply(c_void_p(client), c_void_p(SM.SmsGenerateClientID(c_void_p(client))))
            SM.SmsSaveYourself(c_void_p(client), SAVE_LOCAL, False, INTERACT_NONE, False)
            tell("registered")
        return 0 if previous else 1

    def on_properties(self, client, _, count, properties):
        for i in range(count):
            given = properties[i][0]
            if given.name == b"RestartStyleHint":
                tell("restart:", RESTART_HINTS[ctypes.string_at(given.values[0].value, 1)[0]])

    def on_saved(self, client, _, success):
        tell("saved" if success else "not saved")
        if self.logging_out:
            SM.SmsDie(c_void_p(client))
        else:
            SM.SmsSaveComplete(c_void_p(client))

    def on_close(self, client, *_):
        tell("closed")
        connection = self.clients.pop(client)
        SM.SmsCleanUp(c_void_p(client))
        ICE.IceSetShutdownNegotiation(c_void_p(connection), False)
        ICE.IceCloseConnection(c_void_p(connection))

    def log_out(self):
        self.logging_out = True
        for client in self.clients:
            SM.SmsSaveYourself(c_void_p(client), SAVE_BOTH, True, INTERACT_ANY, False)

    def run(self):
        doors = {ICE.IceGetListenConnectionNumber(c_void_p(self.listening[i])): self.listening[i]
                 for i in range(self.count)}
        visitors = {}
        while True:
            for number in select.select([0, *doors, *visitors], [], [])[0]:
                if number == 0:
                    if sys.stdin.readline().strip() != "logout":
                        return
                    self.log_out()
                elif number in doors:
                    status = c_int()
                    connection = ICE.IceAcceptConnection(c_void_p(doors[number]), byref(status))
                    if connection:
                        visitors[ICE.IceConnectionNumber(c_void_p(connection))] = connection
                elif ICE.IceProcessMessages(c_void_p(visitors[number]), None, None) != 0:
                    if visitors[number] in self.clients.values():
                        self.connection_failed(visitors[number])
                    del visitors[number]


if __name__ == "__main__":
    Manager().run()
