#pragma once

/// A visitor made of one function for each kind of value.
template<typename... Functions>
struct SSOverloaded : Functions...
{
    using Functions::operator()...;
};
template<typename... Functions>
SSOverloaded(Functions...) -> SSOverloaded<Functions...>;
