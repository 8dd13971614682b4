import { testsIn } from "./viewer_in.mjs";

testsIn("chromium");
