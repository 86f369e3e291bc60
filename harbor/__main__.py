import sys

from harbor.cli import main

sys.exit(main())
