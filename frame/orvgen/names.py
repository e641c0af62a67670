"""Every C++ spelling the generator emits is decided here."""

CPP_KEYWORDS = frozenset(
    """alignas alignof and and_eq asm auto bitand bitor bool break case catch char char8_t char16_t
    char32_t class compl concept const consteval constexpr constinit const_cast continue co_await
    co_return co_yield decltype default delete do double dynamic_cast else enum explicit export
    extern false float for friend goto if inline int long mutable namespace new noexcept not
    not_eq nullptr operator or or_eq private protected public register reinterpret_cast requires
    return short signed sizeof static static_assert static_cast struct switch template this
    thread_local throw true try typedef typeid typename union unsigned using virtual void volatile
    wchar_t while xor xor_eq""".split()
)

# Names the generated classes and the framework already use for themselves.
RUNTIME_NAMES = frozenset(
    """Ptr PtrConst NotifieeConst Notifiee orvType fwkType name fullName parent parentIs
    parentAttrName keyStrep orvAttr orvNotify notifier notifierIs hasNotificationActiveIs
    notificationActive hasNotifiees newRef deleteRef references orvFields OrvKeyOf
    orvHasAttrLogInterface hasBackupSupport""".split()
)

VALUE_RUNTIME_NAMES = frozenset("orvType orvFields".split())


def cap(s):
    return s[:1].upper() + s[1:]


def lower_first(s):
    return s[:1].lower() + s[1:]


def member(attr):
    return f"{attr}_"


def setter(attr):
    return f"{attr}Is"


def deleter(attr):
    return f"{attr}Del"


def delete_all(attr):
    return f"{attr}DelAll"


def notify(attr):
    return f"{attr}Notify"


def handler(attr):
    return f"on{cap(attr)}"


def immediate_handler(attr):
    return f"on{cap(attr)}orvImmediate"


def factory(type_name):
    return f"{lower_first(type_name)}Factory"


def type_is(type_name):
    return f"{type_name}Is"


def enum_instance(enum_name):
    return f"{enum_name}Instance"


def enum_desc(enum_name):
    return f"_orvType_{enum_name}"


def null_message(qtype, attr):
    # The trailing double quote is part of the message text.
    return f'null _{attr} parameter to mutator for {qtype}::{attr} not allowed"'

