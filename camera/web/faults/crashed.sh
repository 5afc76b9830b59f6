# In the gateway's place: ends by a signal before it has said anything.
kill -SEGV $$
