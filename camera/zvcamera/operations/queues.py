"""What the queues of zvNetD and zvBleD have carried."""

from ..messages.protocol import QUEUE_DAEMONS
from .operation import operation


@operation("queue", "GET /queues", "Count what the queues of zvNetD and zvBleD have carried")
def show(link):
    counts = link.call_each(QUEUE_DAEMONS, "queue")
    if "zvNetD" in counts:
        counts["zvNetD"]["backlog"] = link.call("zvNetD", "backlog")
    return counts
