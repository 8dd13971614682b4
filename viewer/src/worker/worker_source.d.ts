// The bundled worker as a text; build.mjs puts it there.
declare module "worker_source" {
    const source: string;
    export default source;
}
